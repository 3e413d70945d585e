#include "encoded_words.h"

#include <algorithm>
#include <optional>

#include <mime/mime.h>

#include "kivgui/ascii.h"

namespace Tool {

using MIME::AnsiStr;

namespace {

int GetDigit(char c) {
    if (KivGuiBase::IsDigitAscii(c)) return c - '0';
    const char lower = KivGuiBase::ToLowerAscii(c);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::optional<std::string> DecodeQ(std::string_view text) {
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '=') {
            bytes += text[i] == '_' ? ' ' : text[i];
            continue;
        }
        if (text.size() - i < 3) return std::nullopt;
        const int high = GetDigit(text[i + 1]);
        const int low = GetDigit(text[i + 2]);
        if (high < 0 || low < 0) return std::nullopt;
        bytes += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return bytes;
}

std::optional<std::string> DecodeB(std::string_view text) {
    std::string bytes(text.size(), '\0');
    auto size = static_cast<unsigned>(bytes.size());
    if (!KivGuiBase::B64Str2Binary(AnsiStr(text), bytes.data(), size, "")) return std::nullopt;
    bytes.resize(size);
    return bytes;
}

/// Takes what stands before `end` off the text, and `end`; fails where there is a space first. A
/// word stands on one line, which bounds the search.
std::optional<std::string_view> TakeField(std::string_view& text, std::string_view end) {
    constexpr size_t kMaxLine = 998;
    const size_t length = text.substr(0, kMaxLine).find(end);
    if (length == std::string_view::npos) return std::nullopt;
    const std::string_view field = text.substr(0, length);
    if (std::any_of(field.begin(), field.end(), KivGuiBase::IsSpaceAscii)) return std::nullopt;
    text.remove_prefix(length + end.size());
    return field;
}

bool IsDecodable(std::string_view charset) {
    // A language may follow (RFC 2231, 5).
    const std::string name(charset.substr(0, charset.find('*')));
    return AnsiStr::Compare(name.c_str(), "utf-8", true) == 0 ||
           AnsiStr::Compare(name.c_str(), "us-ascii", true) == 0;
}

/// Takes the encoded word that the text starts with; takes nothing when it starts with none.
std::optional<std::string> TakeWord(std::string_view& text) {
    if (!text.starts_with("=?")) return std::nullopt;
    std::string_view rest = text.substr(2);
    const auto charset = TakeField(rest, "?");
    if (!charset || !IsDecodable(*charset)) return std::nullopt;
    const auto encoding = TakeField(rest, "?");
    if (!encoding || encoding->size() != 1) return std::nullopt;
    const auto encoded = TakeField(rest, "?=");
    if (!encoded) return std::nullopt;
    const char kind = KivGuiBase::ToLowerAscii(encoding->front());
    std::optional<std::string> bytes;
    if (kind == 'q') bytes = DecodeQ(*encoded);
    if (kind == 'b') bytes = DecodeB(*encoded);
    if (bytes) text = rest;
    return bytes;
}

}  // namespace

std::string DecodeWords(std::string_view text) {
    std::string decoded;
    size_t wordEnd = std::string::npos;  // where white space began that stands behind a word
    while (!text.empty()) {
        if (const auto word = TakeWord(text)) {
            if (wordEnd != std::string::npos) decoded.resize(wordEnd);
            decoded += *word;
            wordEnd = decoded.size();
            continue;
        }
        if (!KivGuiBase::IsSpaceAscii(text.front())) wordEnd = std::string::npos;
        decoded += text.front();
        text.remove_prefix(1);
    }
    return decoded;
}

}  // namespace Tool
