#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "kivgui/memory.h"
#include "kivgui/reference.h"

// Invariants: a body with a count of references of 2 or more is not written to; the first `count`
// of `capacity` places hold items, the others are raw memory. A change therefore goes through
// MakeWritable, which leaves the handle alone with a body that has room. Capacity grows by half, so
// adding one item costs amortised constant time; the exact steps are interface (GetArrayCapacity).

namespace KivGuiBase {

/// The capacity of an array that grows to `count` items by adding `added` of them.
constexpr unsigned GetArrayCapacity(unsigned count, unsigned added) noexcept {
    constexpr unsigned kLargeCount = 100000;
    const auto plus = [count](unsigned spare) {
        return count > 0xFFFFFFFF - spare ? 0xFFFFFFFF : count + spare;
    };
    if (count < 20) return plus(10);
    if (added > count / 4) return count;
    return count < kLargeCount ? plus(count / 2) : plus(kLargeCount / 2);
}

/// An array of items: a handle of one pointer to a shared, reference-counted body.
///
/// Copying the handle links the body; a shared body is copied before it is changed. Items are
/// copied with their copy constructors, so items that are handles share what they hold. One
/// handle belongs to one thread at a time.
template <class Item>
class SharedArray {
public:
    SharedArray() noexcept = default;
    SharedArray(const SharedArray& other) noexcept : imp_(other.imp_) {
        if (imp_ != nullptr) imp_->reference.Link();
    }
    SharedArray(SharedArray&& other) noexcept : imp_(std::exchange(other.imp_, nullptr)) {}
    ~SharedArray() { Release(); }
    SharedArray& operator=(SharedArray other) noexcept {
        std::swap(imp_, other.imp_);
        return *this;
    }

    unsigned GetCount() const noexcept { return imp_ != nullptr ? imp_->count : 0; }
    unsigned GetCapacity() const noexcept { return imp_ != nullptr ? imp_->capacity : 0; }
    bool IsEmpty() const noexcept { return GetCount() == 0; }

    /// The item at `index`, which must be below the count.
    const Item& operator[](unsigned index) const noexcept { return imp_->GetItems()[index]; }
    const Item* begin() const noexcept { return imp_ != nullptr ? imp_->GetItems() : nullptr; }
    const Item* end() const noexcept { return begin() + GetCount(); }

    /// Appends an item.
    /// @return false, after a report, when the count would exceed 32 bits or memory runs out; the
    ///         array is then unchanged.
    bool Add(const Item& item) noexcept {
        const unsigned count = GetCount();
        if (count == 0xFFFFFFFF) {
            ReportArrayOverflow(count, 1);
            return false;
        }
        Item copy(item);  // the item may be in the body that is about to be released
        if (!MakeWritable(count + 1, 1)) return false;
        new (imp_->GetItems() + count) Item(std::move(copy));
        imp_->count = count + 1;
        return true;
    }

    /// Replaces the item at `index`, which must be below the count.
    /// @return false, after a report, when a shared body could not be copied.
    bool Set(unsigned index, const Item& item) noexcept {
        if (!MakeWritable(GetCount(), 0)) return false;
        imp_->GetItems()[index] = item;
        return true;
    }

    /// Removes the last item, if there is one.
    /// @return false, after a report, when a shared body could not be copied.
    bool RemoveLast() noexcept {
        if (IsEmpty()) return true;
        if (!MakeWritable(GetCount(), 0)) return false;
        imp_->GetItems()[--imp_->count].~Item();
        return true;
    }

    /// Releases the body; handles that share it keep it.
    void Clear() noexcept { *this = SharedArray(); }

private:
    struct Imp {
        Reference reference;
        uint32_t capacity;
        uint32_t count;

        static constexpr size_t kItemsOffset =
            (sizeof(Reference) + 2 * sizeof(uint32_t) + alignof(Item) - 1) / alignof(Item) *
            alignof(Item);
        Item* GetItems() noexcept {
            return reinterpret_cast<Item*>(reinterpret_cast<char*>(this) + kItemsOffset);
        }
        static size_t GetSize(unsigned capacity) noexcept {
            return kItemsOffset + size_t{capacity} * sizeof(Item);
        }
    };

    /// Makes this the only handle to a body with room for `count` items, `added` of them new.
    bool MakeWritable(unsigned count, unsigned added) noexcept {
        if (imp_ != nullptr && !imp_->reference.IsShared() && imp_->capacity >= count) return true;
        const unsigned capacity = GetArrayCapacity(count, added);
        void* block = AllocParticle(Imp::GetSize(capacity));
        if (block == nullptr) {
            ReportArrayAllocFail(capacity, GetCount());
            return false;
        }
        Imp* imp = new (block) Imp;
        imp->capacity = capacity;
        imp->count = GetCount();
        for (unsigned i = 0; i < imp->count; ++i) {
            new (imp->GetItems() + i) Item(imp_->GetItems()[i]);
        }
        Release();
        imp_ = imp;
        return true;
    }

    void Release() noexcept {
        if (imp_ == nullptr || !imp_->reference.Unlink()) return;
        for (unsigned i = 0; i < imp_->count; ++i) imp_->GetItems()[i].~Item();
        const size_t size = Imp::GetSize(imp_->capacity);
        imp_->~Imp();
        FreeParticle(size, imp_);
        imp_ = nullptr;
    }

    Imp* imp_ = nullptr;
};

}  // namespace KivGuiBase
