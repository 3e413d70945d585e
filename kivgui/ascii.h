#pragma once

#include <string>
#include <string_view>

namespace KivGuiBase {

// The character classes of the C locale, whatever locale the host process has set.

constexpr char ToLowerAscii(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

constexpr bool IsSpaceAscii(char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

inline std::string MakeLowerAscii(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = ToLowerAscii(c);
    return lower;
}

/// Space and tab, the white space inside a line.
constexpr bool IsBlankAscii(char c) noexcept {
    return c == ' ' || c == '\t';
}

constexpr bool IsDigitAscii(char c) noexcept {
    return c >= '0' && c <= '9';
}

constexpr bool IsAscii(char c) noexcept {
    return static_cast<unsigned char>(c) < 0x80;
}

constexpr bool IsAsciiText(std::string_view text) noexcept {
    for (const char c : text) {
        if (!IsAscii(c)) return false;
    }
    return true;
}

/// Compares names as mail does: the case of ASCII letters is ignored, other bytes must be equal.
constexpr bool EqualsCaseless(std::string_view a, std::string_view b) noexcept {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (ToLowerAscii(a[i]) != ToLowerAscii(b[i])) return false;
    }
    return true;
}

/// Returns true if `text` begins with `prefix`, ASCII case ignored.
constexpr bool StartsWithCaseless(std::string_view text, std::string_view prefix) noexcept {
    return EqualsCaseless(text.substr(0, prefix.size()), prefix);
}

constexpr char kUpperHexDigits[] = "0123456789ABCDEF";

/// The text without white space at both ends.
constexpr std::string_view TrimSpace(std::string_view text) noexcept {
    while (!text.empty() && IsSpaceAscii(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsSpaceAscii(text.back())) text.remove_suffix(1);
    return text;
}

}  // namespace KivGuiBase
