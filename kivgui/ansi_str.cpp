#include "kivgui/ansi_str.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "kivgui/ascii.h"
#include "kivgui/memory.h"

// A change is made in place when the body has one owner and room; otherwise a new body is made,
// filled and adopted, and only then is the old one released, because what is appended may lie in
// it. A body that cannot be had leaves the string unchanged.

namespace KivGuiBase {

const char AnsiStr::Imp::kEmpty[] = "";

uint32_t AnsiStr::Imp::CountLength() noexcept {
    // The NUL at the end of the buffer bounds the search even if the writer put none into it.
    const auto counted = static_cast<uint32_t>(std::strlen(GetText()));
    length.store(counted, std::memory_order_relaxed);
    return counted;
}

AnsiStr::Imp* AnsiStr::Imp::Init(uint32_t capacity, uint32_t length, const char* src,
                                 uint32_t srcLength) noexcept {
    void* block = Allocate(sizeof(Imp) + size_t{capacity} + 1);
    if (block == nullptr) return nullptr;
    Imp* imp = new (block) Imp;
    imp->capacity = capacity;
    imp->length.store(length, std::memory_order_relaxed);
    char* text = imp->GetText();
    if (src == nullptr) srcLength = 0;
    if (srcLength != 0) std::memcpy(text, src, srcLength);
    text[srcLength] = '\0';
    text[capacity] = '\0';
    return imp;
}

uint32_t AnsiStr::Imp::GetExtendSize(uint32_t length, bool grow) noexcept {
    if (!grow) return length;
    const uint32_t spare = std::max<uint32_t>(32, length / 2);
    return length > kMaxLength - spare ? kMaxLength : length + spare;
}

void AnsiStr::Imp::ReportOverflow(uint32_t /*length*/, uint32_t /*added*/) noexcept {
    SetLastError(kErrorStringOverflow);
}

void AnsiStr::Imp::Free(Imp* imp) noexcept {
    imp->~Imp();
    std::free(imp);
}

AnsiStr::AnsiStr(const char* text) noexcept
    : AnsiStr(text != nullptr ? std::string_view(text) : std::string_view()) {}

AnsiStr::AnsiStr(const char* text, unsigned count) noexcept {
    if (text != nullptr && count != 0) imp_ = Imp::Init(count, count, text, count);
}

AnsiStr::AnsiStr(std::string_view view) noexcept {
    if (view.size() > kMaxLength) {
        SetLastError(kErrorStringOverflow);
        return;
    }
    const auto count = static_cast<uint32_t>(view.size());
    if (count != 0) imp_ = Imp::Init(count, count, view.data(), count);
}

AnsiStr::AnsiStr(unsigned n, char*& buffer) noexcept : imp_(Imp::Init(n, 0, nullptr, 0)) {
    buffer = imp_ != nullptr ? imp_->GetText() : nullptr;
}

char* AnsiStr::Alloc(unsigned n) noexcept {
    const unsigned length = GetLength();
    if (imp_ == nullptr || imp_->reference.IsShared() || imp_->capacity < n) {
        Imp* imp = Imp::Init(std::max(n, length), 0, GetStr(), length);
        if (imp == nullptr) return nullptr;
        Adopt(imp);
    }
    // The caller may overwrite the text, so the length is counted at the next use.
    imp_->length.store(0, std::memory_order_relaxed);
    return imp_->GetText();
}

void AnsiStr::Shrink() noexcept {
    if (imp_ == nullptr) return;
    const unsigned length = imp_->GetLength();
    if (length == 0) {
        Adopt(nullptr);
        return;
    }
    if (imp_->capacity == length || imp_->reference.IsShared()) return;
    void* block = std::realloc(static_cast<void*>(imp_), sizeof(Imp) + size_t{length} + 1);
    if (block == nullptr) return;
    imp_ = static_cast<Imp*>(block);
    imp_->capacity = length;
}

AnsiStr& AnsiStr::Trunc(unsigned n) noexcept {
    const unsigned length = GetLength();
    if (n >= length) return *this;
    if (n == 0) {
        Adopt(nullptr);
    } else if (imp_->reference.IsShared()) {
        if (Imp* imp = Imp::Init(n, n, GetStr(), n)) Adopt(imp);
    } else {
        imp_->GetText()[n] = '\0';
        imp_->length.store(n, std::memory_order_relaxed);
    }
    return *this;
}

AnsiStr& AnsiStr::Append(std::string_view view, Growth growth) noexcept {
    if (view.empty()) return *this;
    const unsigned length = GetLength();
    if (view.size() > kMaxLength - length) {
        Imp::ReportOverflow(length,
                            static_cast<uint32_t>(std::min<size_t>(view.size(), kMaxLength)));
        return *this;
    }
    const auto added = static_cast<uint32_t>(view.size());
    const uint32_t total = length + added;
    if (imp_ != nullptr && !imp_->reference.IsShared() && imp_->capacity >= total) {
        std::memcpy(imp_->GetText() + length, view.data(), added);
        imp_->GetText()[total] = '\0';
        imp_->length.store(total, std::memory_order_relaxed);
        return *this;
    }
    const uint32_t capacity = Imp::GetExtendSize(total, growth == Growth::spare);
    Imp* imp = Imp::Init(capacity, total, GetStr(), length);
    if (imp == nullptr) return *this;
    // The view may lie in the old body, so that is released last.
    std::memcpy(imp->GetText() + length, view.data(), added);
    imp->GetText()[total] = '\0';
    Adopt(imp);
    return *this;
}

bool AnsiStr::MakeUnshared() noexcept {
    if (!imp_->reference.IsShared()) return true;
    const unsigned length = GetLength();
    Imp* imp = Imp::Init(length, length, GetStr(), length);
    if (imp == nullptr) return false;
    Adopt(imp);
    return true;
}

AnsiStr& AnsiStr::Insert(unsigned pos, char c) noexcept {
    const unsigned length = GetLength();
    Append(c);
    if (GetLength() == length || pos >= length) return *this;
    char* at = imp_->GetText() + pos;
    std::memmove(at + 1, at, length - pos);
    *at = c;
    return *this;
}

AnsiStr& AnsiStr::Delete(unsigned pos, unsigned count) noexcept {
    const unsigned length = GetLength();
    if (pos >= length || count == 0) return *this;
    count = std::min(count, length - pos);
    if (pos == 0 && count == length) {
        Adopt(nullptr);
        return *this;
    }
    if (!MakeUnshared()) return *this;
    char* at = imp_->GetText() + pos;
    std::memmove(at, at + count, length - pos - count + 1);
    imp_->length.store(length - count, std::memory_order_relaxed);
    return *this;
}

AnsiStr& AnsiStr::ToLower() noexcept {
    const std::string_view text = *this;
    const auto upper = [](char c) { return ToLowerAscii(c) != c; };
    if (std::none_of(text.begin(), text.end(), upper) || !MakeUnshared()) return *this;
    char* chars = imp_->GetText();
    std::transform(chars, chars + text.size(), chars, ToLowerAscii);
    return *this;
}

namespace {

template <class Text>
unsigned IndexOf(const Text& text, char c, bool ignoreCase, unsigned from, int step) {
    const char wanted = ignoreCase ? ToLowerAscii(c) : c;
    for (unsigned i = from; i < text.size();
         i = static_cast<unsigned>(static_cast<int64_t>(i) + step)) {
        if ((ignoreCase ? ToLowerAscii(text[i]) : text[i]) == wanted) return i;
    }
    return AnsiStr::kMaxLength;
}

int CompareFolded(const char* a, const char* b, size_t n, bool ignoreCase) noexcept {
    for (size_t i = 0; i < n; ++i) {
        char ca = a[i];
        char cb = b[i];
        if (ca != cb && ignoreCase) {
            ca = ToLowerAscii(ca);
            cb = ToLowerAscii(cb);
        }
        if (ca != cb)
            return static_cast<unsigned char>(ca) < static_cast<unsigned char>(cb) ? -1 : 1;
        if (ca == '\0') return 0;
    }
    return 0;
}

}  // namespace

unsigned AnsiStr::Find(char c, unsigned start, bool ignoreCase) const noexcept {
    return IndexOf(std::string_view(*this), c, ignoreCase, start, 1);
}

unsigned AnsiStr::FindLast(char c, unsigned start, bool ignoreCase) const noexcept {
    const unsigned length = GetLength();
    if (length == 0) return kMaxLength;
    // A step below 0 wraps around to a value above the length, which ends the search.
    return IndexOf(std::string_view(*this), c, ignoreCase, std::min(start, length - 1), -1);
}

AnsiStr AnsiStr::Copy(unsigned start, unsigned count) const noexcept {
    const unsigned length = GetLength();
    if (start >= length) return {};
    count = std::min(count, length - start);
    return count == length ? *this : AnsiStr(GetStr() + start, count);
}

int AnsiStr::Compare(const char* a, const char* b, bool ignoreCase) noexcept {
    return CompareFolded(a, b, SIZE_MAX, ignoreCase);
}

int AnsiStr::NCompare(const char* a, const char* b, unsigned n, bool ignoreCase) noexcept {
    return CompareFolded(a, b, n, ignoreCase);
}

AnsiStr operator+(const AnsiStr& a, const AnsiStr& b) noexcept {
    const uint64_t total = uint64_t{a.GetLength()} + b.GetLength();
    if (total > AnsiStr::kMaxLength) {
        SetLastError(kErrorStringOverflow);
        return {};
    }
    AnsiStr sum;
    if (total != 0 && sum.Alloc(static_cast<unsigned>(total)) == nullptr) return {};
    sum.Append(a).Append(b);
    return sum;
}

}  // namespace KivGuiBase
