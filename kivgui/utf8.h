#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

// UTF-8 (RFC 3629), one character at a time, in functions that the compiler can evaluate.
// Well-formed is what RFC 3629, 4 says: no overlong forms, no surrogates, nothing above U+10FFFF.
// Each function looks at no more than the bytes of one character, and never past the end of its
// text.

namespace KivGuiBase {

/// U+FFFD, which replaces what cannot be decoded.
inline constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

/// U+FEFF, which some programs put in front of UTF-8 text.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// The text without the byte-order mark at its start, if it has one.
constexpr std::string_view SkipByteOrderMark(std::string_view text) noexcept {
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    return text;
}

/// Returns true if the byte is a continuation byte of a UTF-8 character.
constexpr bool IsUtf8Tail(char c) noexcept {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

/// Length of the group at the start of a text that is not empty: a byte and the continuation
/// bytes after it, which encoders keep together. Looks at no more than `limit` + 1 bytes.
constexpr size_t MeasureUtf8Group(std::string_view text, size_t limit) noexcept {
    const size_t end = std::min(text.size(), limit + 1);
    size_t length = 1;
    while (length < end && IsUtf8Tail(text[length])) ++length;
    return length;
}

/// Writes a code point as UTF-8 (RFC 3629, 3). @return its length, at most 4; 0 for a surrogate
/// and for a number above U+10FFFF.
constexpr unsigned EncodeUtf8(uint32_t c, char* out) noexcept {
    const auto tail = [c](unsigned shift) { return static_cast<char>(0x80 | (c >> shift & 0x3F)); };
    if (c < 0x80) {
        out[0] = static_cast<char>(c);
        return 1;
    }
    if (c < 0x800) {
        out[0] = static_cast<char>(0xC0 | c >> 6);
        out[1] = tail(0);
        return 2;
    }
    if (c < 0x10000) {
        if (c >= 0xD800 && c <= 0xDFFF) return 0;
        out[0] = static_cast<char>(0xE0 | c >> 12);
        out[1] = tail(6);
        out[2] = tail(0);
        return 3;
    }
    if (c > 0x10FFFF) return 0;
    out[0] = static_cast<char>(0xF0 | c >> 18);
    out[1] = tail(12);
    out[2] = tail(6);
    out[3] = tail(0);
    return 4;
}

/// Length in bytes of the well-formed UTF-8 character at the start of `text` (RFC 3629, 4);
/// 0 when there is none. `text` must not be empty.
constexpr unsigned MeasureUtf8(std::string_view text) noexcept {
    const auto byte = [text](size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
    };
    const auto isTail = [text](size_t i) { return i < text.size() && IsUtf8Tail(text[i]); };
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

/// Returns true if the whole text is well-formed UTF-8.
constexpr bool IsUtf8(std::string_view text) noexcept {
    while (!text.empty()) {
        const unsigned length = MeasureUtf8(text);
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

/// Length of the malformed sequence at the start of a text where no well-formed character begins:
/// the bytes that could begin a character, or else one byte.
constexpr unsigned MeasureMalformedUtf8(std::string_view text) noexcept {
    const unsigned tails = static_cast<unsigned char>(text[0]) >= 0xF0   ? 3
                           : static_cast<unsigned char>(text[0]) >= 0xE0 ? 2
                                                                         : 0;
    // Do the bytes so far begin a character? Any continuation byte can complete it, because only
    // the byte after the first is restricted further.
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
