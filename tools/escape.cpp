#include "escape.h"

#include <algorithm>

#include "kivgui/ascii.h"
#include "kivgui/utf8.h"

// Goes through the text character by character. Only well-formed UTF-8 outside the listed ranges is
// copied; every other byte or character is spelled out in ASCII, so the result has no byte that a
// terminal obeys, and no character that changes how the rest is shown.

namespace Tool {

using KivGuiBase::kUpperHexDigits;

namespace {

bool IsUnsafe(unsigned character) {
    struct Range {
        unsigned first;
        unsigned last;
    };
    constexpr Range kUnsafe[] = {
        {0x00, 0x1F},      // C0
        {0x7F, 0x9F},      // DEL, C1
        {0x061C, 0x061C},  // Arabic letter mark
        {0x200E, 0x200F},  // left-to-right and right-to-left marks
        {0x2028, 0x202E},  // line and paragraph separators, embeddings and overrides
        {0x2066, 0x2069},  // isolates
    };
    for (const Range& range : kUnsafe) {
        if (character >= range.first && character <= range.last) return true;
    }
    return false;
}

void AppendByte(std::string& out, unsigned byte) {
    out += {'\\', 'x', kUpperHexDigits[byte >> 4], kUpperHexDigits[byte & 15]};
}

void AppendCharacter(std::string& out, unsigned character) {
    if (character < 0x80) return AppendByte(out, character);
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) out += kUpperHexDigits[character >> shift & 15];
}

}  // namespace

unsigned DecodeUtf8(std::string_view bytes) {
    constexpr unsigned kLeadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    unsigned character = static_cast<unsigned char>(bytes.front()) & kLeadBits[bytes.size()];
    for (const char tail : bytes.substr(1)) {
        character = character << 6 | (static_cast<unsigned char>(tail) & 0x3F);
    }
    return character;
}

std::string Escape(std::string_view text, char quote) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const unsigned length = KivGuiBase::MeasureUtf8(text);
        if (length == 0) {
            AppendByte(out, static_cast<unsigned char>(text.front()));
            text.remove_prefix(1);
            continue;
        }
        const unsigned character = DecodeUtf8(text.substr(0, length));
        if (IsUnsafe(character)) {
            AppendCharacter(out, character);
        } else {
            if (text.front() == quote) out += '\\';
            out += text.substr(0, length);
        }
        text.remove_prefix(length);
    }
    return out;
}

std::string EscapeLines(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const size_t end = std::min(text.find_first_of("\n\t"), text.size());
        std::string_view piece = text.substr(0, end);
        const bool hasMark = end != text.size();
        if (hasMark && text[end] == '\n' && piece.ends_with('\r')) piece.remove_suffix(1);
        out += Escape(piece);
        if (hasMark) out += text[end];
        text.remove_prefix(end + (hasMark ? 1 : 0));
    }
    return out;
}

size_t MeasureColumns(std::string_view text) {
    size_t columns = 0;
    for (const char c : text) columns += KivGuiBase::IsUtf8Tail(c) ? 0 : 1;
    return columns;
}

}  // namespace Tool
