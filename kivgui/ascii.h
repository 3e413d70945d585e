#pragma once

#include <string_view>

namespace KivGuiBase {

// The character classes of the C locale, whatever locale the host process has set.

constexpr char ToLowerAscii(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

constexpr bool IsSpaceAscii(char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// Space and tab, the white space inside a line.
constexpr bool IsBlankAscii(char c) noexcept {
    return c == ' ' || c == '\t';
}

constexpr bool IsDigitAscii(char c) noexcept {
    return c >= '0' && c <= '9';
}

constexpr char kUpperHexDigits[] = "0123456789ABCDEF";

/// The text without white space at both ends.
constexpr std::string_view TrimSpace(std::string_view text) noexcept {
    while (!text.empty() && IsSpaceAscii(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsSpaceAscii(text.back())) text.remove_suffix(1);
    return text;
}

}  // namespace KivGuiBase
