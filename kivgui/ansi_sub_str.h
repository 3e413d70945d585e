#pragma once

#include <string_view>

namespace KivGuiBase {

/// A view of characters that somebody else owns. It must not outlive them. Lengths are 32-bit,
/// and the text need not end in NUL.
class AnsiSubStr {
public:
    constexpr AnsiSubStr() noexcept = default;
    constexpr AnsiSubStr(const char* text, unsigned length) noexcept
        : text_(text), length_(length) {}

    /// The first character; not NUL-terminated. Never null.
    constexpr const char* GetStr() const noexcept { return text_ != nullptr ? text_ : ""; }
    constexpr unsigned GetLength() const noexcept { return text_ != nullptr ? length_ : 0; }
    constexpr bool IsEmpty() const noexcept { return GetLength() == 0; }

    constexpr operator std::string_view() const noexcept { return {GetStr(), GetLength()}; }

    friend constexpr bool operator==(const AnsiSubStr& a, const AnsiSubStr& b) noexcept {
        return std::string_view(a) == std::string_view(b);
    }

private:
    const char* text_ = nullptr;
    unsigned length_ = 0;
};

}  // namespace KivGuiBase
