#pragma once

#include <algorithm>
#include <string_view>

namespace MIME {

constexpr bool IsUtf8Tail(char c) noexcept {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

constexpr bool IsAscii(char c) noexcept {
    return static_cast<unsigned char>(c) < 0x80;
}

/// Length of the group at the start of a text that is not empty: a byte and the continuation
/// bytes behind it, which encoders keep together. Looks at no more than `limit` bytes and one.
constexpr size_t MeasureUtf8Group(std::string_view text, size_t limit) noexcept {
    const size_t end = std::min(text.size(), limit + 1);
    size_t length = 1;
    while (length < end && IsUtf8Tail(text[length])) ++length;
    return length;
}

}  // namespace MIME
