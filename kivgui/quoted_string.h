#pragma once

#include <cstddef>
#include <string_view>

namespace KivGuiBase {

/// A quoted-string at the start of a text (RFC 5322, 3.2.4): a double quote, any bytes, and the
/// next double quote that no backslash precedes. A backslash takes the byte after it along,
/// whatever that is.
struct QuotedString {
    std::string_view inside;  ///< between the quotes, escapes still in it
    size_t length;            ///< in the text, quotes included
    bool isClosed;            ///< false: the text ends first, and `inside` reaches to its end
};

/// Scans the quoted-string at the start of `text`, whose first byte must be the opening quote.
constexpr QuotedString ScanQuotedString(std::string_view text) noexcept {
    for (size_t at = 1; at < text.size(); ++at) {
        if (text[at] == '"') return {text.substr(1, at - 1), at + 1, true};
        if (text[at] == '\\') ++at;
    }
    return {text.substr(1), text.size(), false};
}

/// Calls `put` with each byte of `QuotedString::inside` except the backslashes of escapes. A
/// backslash at the very end, which only an unclosed string can have, is an ordinary byte.
template <class Put>
constexpr void ForEachUnescaped(std::string_view inside, Put put) {
    for (size_t at = 0; at < inside.size(); ++at) {
        if (inside[at] == '\\' && at + 1 < inside.size()) ++at;
        put(inside[at]);
    }
}

}  // namespace KivGuiBase
