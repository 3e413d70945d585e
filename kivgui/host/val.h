#pragma once

#include <cstdint>
#include <utility>

#include "kivgui/ansi_str.h"
#include "kivgui/export.h"

namespace KivGuiBase {

/// A tagged 64-bit value: a type code in bits 0 to 6, a flag in bit 7 that says that the payload is
/// a reference, and a payload of 56 bits. Holds nothing, a string or a 64-bit integer; an integer
/// that does not fit into the payload is kept in a shared cell. Copies share the referenced data.
class KIV_EXPORT Val {
public:
    enum TypeCode : unsigned { kNone = 0, kInteger = 2, kString = 5 };

    Val() noexcept = default;
    explicit Val(const AnsiStr& text) noexcept;
    explicit Val(int64_t number) noexcept;
    Val(const Val& other) noexcept;
    Val(Val&& other) noexcept : bits_(std::exchange(other.bits_, 0)) {}
    ~Val();
    Val& operator=(Val other) noexcept {
        std::swap(bits_, other.bits_);
        return *this;
    }

    TypeCode GetType() const noexcept { return static_cast<TypeCode>(bits_ & kTypeMask); }
    /// The string; empty when the value holds none.
    AnsiStr GetString() const noexcept;
    /// The integer; 0 when the value holds none.
    int64_t GetInteger() const noexcept;
    /// Returns true if the payload refers to something outside the value.
    bool IsReference() const noexcept { return (bits_ & kReferenceBit) != 0; }

private:
    static constexpr uint64_t kTypeMask = 0x7F;
    static constexpr uint64_t kReferenceBit = 0x80;

    void StorePointer(TypeCode type, const void* pointer) noexcept;
    void* GetPointer() const noexcept;

    uint64_t bits_ = 0;
};

}  // namespace KivGuiBase
