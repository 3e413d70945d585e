#pragma once

#include <array>
#include <cstdint>

#include "kivgui/ascii.h"

namespace KivGuiBase {

inline constexpr uint8_t kNoHexDigit = 0xFF;

/// The value of each byte as a hexadecimal digit of either case; kNoHexDigit for other bytes.
inline constexpr std::array<uint8_t, 256> kHexValues = [] {
    std::array<uint8_t, 256> values{};
    values.fill(kNoHexDigit);
    for (uint8_t value = 0; value < 16; ++value) {
        const char digit = kUpperHexDigits[value];
        values[static_cast<unsigned char>(digit)] = value;
        values[static_cast<unsigned char>(ToLowerAscii(digit))] = value;
    }
    return values;
}();

constexpr unsigned GetHexValue(char c) noexcept {
    return kHexValues[static_cast<unsigned char>(c)];
}

inline constexpr unsigned kHexEscapeLength = 3;

/// Reads the two digits at `digits`. @return the byte, or a value above 0xFF when one of them is
/// not a digit.
constexpr unsigned ReadHexPair(const char* digits) noexcept {
    const unsigned high = GetHexValue(digits[0]);
    const unsigned low = GetHexValue(digits[1]);
    return (high | low) < 16 ? high << 4 | low : unsigned{kNoHexDigit} + 1;
}

/// Writes a byte as two upper-case digits. @return the end.
constexpr char* WriteHexPair(char c, char* out) noexcept {
    const auto byte = static_cast<unsigned char>(c);
    out[0] = kUpperHexDigits[byte >> 4];
    out[1] = kUpperHexDigits[byte & 15];
    return out + 2;
}

/// Reads the two digits of the escape at the start of `text`, after its mark. @return the byte, or a
/// value above 0xFF when the text is too short or one is no digit.
constexpr unsigned ReadHexEscape(std::string_view text) noexcept {
    return text.size() < kHexEscapeLength ? unsigned{kNoHexDigit} + 1
                                          : ReadHexPair(text.data() + 1);
}

/// Writes a byte as `mark` and two upper-case digits: "=" in quoted-printable and encoded words
/// (RFC 2045, 6.7 (1)), "%" in extended parameters (RFC 2231, 7). @return the end.
constexpr char* WriteHexEscape(char mark, char c, char* out) noexcept {
    *out = mark;
    return WriteHexPair(c, out + 1);
}

}  // namespace KivGuiBase
