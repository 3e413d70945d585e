#pragma once

#include <string_view>

namespace KivGuiBase {

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

}  // namespace KivGuiBase
