#include "kivgui/host/val.h"

#include <new>

#include "kivgui/memory.h"
#include "kivgui/reference.h"

// Everything outside the 64 bits is a box: a count of references and the content, from
// AllocParticle. The box's address is stored shifted left by 8 bits. Addresses have at most 48 bits
// unless a process asks for more; one that does not fit the 56 bits ends the process.

namespace KivGuiBase {

namespace {

constexpr unsigned kPayloadShift = 8;

/// A string is always boxed, an integer only when it does not fit the payload.
template <class Content>
struct Box {
    Reference reference;
    Content content;
};

using StringBox = Box<AnsiStr>;
using IntegerBox = Box<int64_t>;

int64_t GetPayload(uint64_t bits) noexcept {
    return static_cast<int64_t>(bits) >> kPayloadShift;  // arithmetic: keeps the sign
}

bool FitsPayload(int64_t number) noexcept {
    return GetPayload(static_cast<uint64_t>(number) << kPayloadShift) == number;
}

template <class Content>
void* NewBox(const Content& content) noexcept {
    void* block = AllocParticle(sizeof(Box<Content>));
    return block != nullptr ? new (block) Box<Content>{{}, content} : nullptr;
}

template <class Content>
void Unlink(void* pointer) noexcept {
    auto* box = static_cast<Box<Content>*>(pointer);
    if (!box->reference.Unlink()) return;
    box->~Box<Content>();
    FreeParticle(sizeof(Box<Content>), box);
}

}  // namespace

void Val::StorePointer(TypeCode type, const void* pointer) noexcept {
    if (pointer == nullptr) return;
    const auto address = static_cast<int64_t>(reinterpret_cast<intptr_t>(pointer));
    if (!FitsPayload(address)) {
        DebugAbort("Pointer value %p not within supported range", pointer);
    }
    bits_ = static_cast<uint64_t>(address) << kPayloadShift | kReferenceBit | type;
}

void* Val::GetPointer() const noexcept {
    return reinterpret_cast<void*>(static_cast<intptr_t>(GetPayload(bits_)));
}

Val::Val(const AnsiStr& text) noexcept {
    StorePointer(kString, NewBox(text));
}

Val::Val(int64_t number) noexcept {
    if (FitsPayload(number)) {
        bits_ = static_cast<uint64_t>(number) << kPayloadShift | kInteger;
    } else {
        StorePointer(kInteger, NewBox(number));
    }
}

Val::Val(const Val& other) noexcept : bits_(other.bits_) {
    if (!IsReference()) return;
    // Every box starts with its count.
    static_cast<Reference*>(GetPointer())->Link();
}

Val::~Val() {
    if (!IsReference()) return;
    if (GetType() == kString) {
        Unlink<AnsiStr>(GetPointer());
    } else {
        Unlink<int64_t>(GetPointer());
    }
}

AnsiStr Val::GetString() const noexcept {
    return GetType() == kString ? static_cast<StringBox*>(GetPointer())->content : AnsiStr();
}

int64_t Val::GetInteger() const noexcept {
    if (GetType() != kInteger) return 0;
    return IsReference() ? static_cast<IntegerBox*>(GetPointer())->content : GetPayload(bits_);
}

}  // namespace KivGuiBase
