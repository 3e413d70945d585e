#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace MIME::Test {

/// Base64 (RFC 4648, 4), bit by bit: too slow to use and too simple to be wrong.
inline constexpr std::string_view kBase64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

inline std::string ReferenceEncodeBase64(std::string_view bytes, size_t lineLength = 0,
                                         std::string_view separator = "") {
    std::string bits;
    for (const char c : bytes) {
        for (int i = 7; i >= 0; --i)
            bits += (static_cast<unsigned char>(c) >> i & 1) != 0 ? '1' : '0';
    }
    while (bits.size() % 6 != 0) bits += '0';
    std::string text;
    for (size_t i = 0; i < bits.size(); i += 6) {
        text += kBase64Alphabet[std::stoul(bits.substr(i, 6), nullptr, 2)];
    }
    while (text.size() % 4 != 0) text += '=';
    if (lineLength == 0) return text;
    std::string lines;
    for (size_t i = 0; i < text.size(); i += lineLength) {
        if (i != 0) lines += separator;
        lines += text.substr(i, lineLength);
    }
    return lines;
}

/// @return nothing for a text that is not valid once the `skipped` characters are gone.
inline std::optional<std::string> ReferenceDecodeBase64(std::string_view text,
                                                        std::string_view skipped) {
    std::string characters;
    for (const char c : text) {
        if (skipped.find(c) == std::string_view::npos) characters += c;
    }
    if (characters.size() % 4 != 0) return std::nullopt;
    size_t padding = 0;
    while (padding < 2 && !characters.empty() && characters.back() == '=') {
        characters.pop_back();
        ++padding;
    }
    std::string bits;
    for (const char c : characters) {
        const size_t value = kBase64Alphabet.find(c);
        if (value == std::string_view::npos) return std::nullopt;
        for (int i = 5; i >= 0; --i) bits += (value >> i & 1) != 0 ? '1' : '0';
    }
    std::string bytes;
    for (size_t i = 0; i + 8 <= bits.size(); i += 8) {
        bytes += static_cast<char>(std::stoul(bits.substr(i, 8), nullptr, 2));
    }
    return bytes;
}

}  // namespace MIME::Test
