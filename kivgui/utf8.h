#pragma once

#include <string_view>

namespace KivGuiBase {

/// U+FFFD, which stands for what cannot be decoded.
inline constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

/// Length in bytes of the well-formed UTF-8 character at the start of `text` (RFC 3629, 4);
/// 0 when there is none, `text` must not be empty.
constexpr unsigned MeasureUtf8(std::string_view text) noexcept {
    const auto byte = [text](size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
    };
    const auto isTail = [byte](size_t i) { return (byte(i) & 0xC0) == 0x80; };
    const unsigned first = byte(0);
    if (first < 0x80) return 1;
    if (first >= 0xC2 && first <= 0xDF) return isTail(1) ? 2 : 0;
    if (first >= 0xE0 && first <= 0xEF) {
        // No overlong forms, no surrogates.
        const bool second = first == 0xE0   ? byte(1) >= 0xA0 && byte(1) <= 0xBF
                            : first == 0xED ? byte(1) >= 0x80 && byte(1) <= 0x9F
                                            : isTail(1);
        return second && isTail(2) ? 3 : 0;
    }
    if (first >= 0xF0 && first <= 0xF4) {
        const bool second = first == 0xF0   ? byte(1) >= 0x90 && byte(1) <= 0xBF
                            : first == 0xF4 ? byte(1) >= 0x80 && byte(1) <= 0x8F
                                            : isTail(1);
        return second && isTail(2) && isTail(3) ? 4 : 0;
    }
    return 0;
}

/// Bytes at the start of a text where no well-formed character begins that count as one malformed
/// sequence: those that could begin a character, or else one byte.
constexpr unsigned MeasureMalformedUtf8(std::string_view text) noexcept {
    const unsigned tails = static_cast<unsigned char>(text[0]) >= 0xF0   ? 3
                           : static_cast<unsigned char>(text[0]) >= 0xE0 ? 2
                                                                         : 0;
    // Would the bytes so far be a character with some tail behind them? The middle one will do,
    // because only the byte behind the first is limited further.
    for (unsigned length = tails; length >= 2; --length) {
        char whole[4]{};
        if (text.size() < length) continue;
        for (unsigned i = 0; i < length; ++i) whole[i] = text[i];
        for (unsigned i = length; i <= tails; ++i) whole[i] = '\x80';
        if (MeasureUtf8({whole, size_t{tails} + 1}) != 0) return length;
    }
    return 1;
}

}  // namespace KivGuiBase
