#include "json_text.h"

#include "escape.h"
#include "kivgui/hex.h"
#include "kivgui/utf8.h"

namespace Tool {

void JsonText::Separate() {
    if (needsComma_) text_ += ',';
    needsComma_ = true;
}

JsonText& JsonText::Open(char mark) {
    Separate();
    text_ += mark;
    needsComma_ = false;
    return *this;
}

JsonText& JsonText::Close(char mark) {
    text_ += mark;
    needsComma_ = true;
    return *this;
}

JsonText& JsonText::Key(std::string_view name) {
    Separate();
    text_ += '"';
    text_ += name;
    text_ += "\":";
    needsComma_ = false;
    return *this;
}

/// Appends a UTF-16 code unit as an escape.
void JsonText::AppendUnit(unsigned unit) {
    text_ += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) {
        text_ += KivGuiBase::ToLowerAscii(KivGuiBase::kUpperHexDigits[unit >> shift & 15]);
    }
}

JsonText& JsonText::Text(std::string_view text) {
    Separate();
    text_ += '"';
    while (!text.empty()) {
        const char c = text.front();
        if (c >= ' ' && c < '\x7F') {
            if (c == '"' || c == '\\') text_ += '\\';
            text_ += c;
            text.remove_prefix(1);
            continue;
        }
        const unsigned length = KivGuiBase::MeasureUtf8(text);
        const unsigned character = length == 0 ? 0xFFFD : DecodeUtf8(text.substr(0, length));
        if (character < 0x10000) {
            AppendUnit(character);
        } else {
            AppendUnit(0xD7C0 + (character >> 10));
            AppendUnit(0xDC00 | (character & 0x3FF));
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    text_ += '"';
    return *this;
}

JsonText& JsonText::Number(int64_t number) {
    Separate();
    text_ += std::to_string(number);
    return *this;
}

JsonText& JsonText::Null() {
    Separate();
    text_ += "null";
    return *this;
}

}  // namespace Tool
