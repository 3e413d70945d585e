#pragma once

#include <bitset>
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
    for (const char c : bytes) bits += std::bitset<8>(static_cast<unsigned char>(c)).to_string();
    while (bits.size() % 6 != 0) bits += '0';
    std::string text;
    for (size_t i = 0; i < bits.size(); i += 6) {
        text += kBase64Alphabet[std::bitset<6>(bits, i, 6).to_ulong()];
    }
    while (text.size() % 4 != 0) text += '=';
    if (lineLength == 0) return text;
    for (size_t i = lineLength; i < text.size(); i += lineLength + separator.size()) {
        text.insert(i, separator);
    }
    return text;
}

/// @return nothing for a text that is not valid once the `skipped` characters are gone.
inline std::optional<std::string> ReferenceDecodeBase64(std::string_view text,
                                                        std::string_view skipped) {
    std::string characters;
    for (const char c : text) {
        if (skipped.find(c) == std::string_view::npos) characters += c;
    }
    if (characters.size() % 4 != 0) return std::nullopt;
    for (int i = 0; i < 2 && characters.ends_with('='); ++i) characters.pop_back();
    std::string bits;
    for (const char c : characters) {
        const size_t value = kBase64Alphabet.find(c);
        if (value == std::string_view::npos) return std::nullopt;
        bits += std::bitset<6>(value).to_string();
    }
    std::string bytes;
    for (size_t i = 0; i + 8 <= bits.size(); i += 8) {
        bytes += static_cast<char>(std::bitset<8>(bits, i, 8).to_ulong());
    }
    return bytes;
}

}  // namespace MIME::Test
