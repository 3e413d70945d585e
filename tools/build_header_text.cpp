#include "build_header_text.h"

#include <algorithm>
#include <new>

#include "failure.h"
#include "kivgui/utf8.h"

namespace Tool {

using MIME::AnsiStr;

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const unsigned length = KivGuiBase::MeasureUtf8(text);
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

bool IsAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool HasControls(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; });
}

bool HasOverlongWord(std::string_view text) {
    constexpr size_t kMaxWord = 900;  // leaves room for the field's name in a line of 998
    while (text.size() > kMaxWord) {
        const size_t end = std::min(text.find(' '), text.size());
        if (end > kMaxWord) return true;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return false;
}

AnsiStr MakeUnstructured(const std::string& option, const std::string& text) {
    if (!IsUtf8(text)) throw Failure(option, "is not UTF-8");
    const bool isBare = !HasControls(text) && !text.starts_with(' ') && !text.ends_with(' ') &&
                        !HasOverlongWord(text) && text.find("=?") == std::string::npos;
    return MIME::Encoding::QEncode(AnsiStr(text), !isBare);
}

MIME::HeaderValue& GetField(MIME::Part& part, const char* name) {
    MIME::HeaderMap::Node* field = part.headers.FindOrInsert(name);
    if (field == nullptr) throw std::bad_alloc();
    return field->value;
}

void SetParameter(MIME::HeaderValue& field, const char* name, const std::string& value) {
    constexpr size_t kMaxQuoted = 60;  // with the parameter's name it fits a line in any case
    const AnsiStr text(value);
    const bool isQuoted = value.size() <= kMaxQuoted && MIME::Encoding::IsAtom(text) &&
                          value.find_first_of("/?'*%") != std::string::npos;
    MIME::ParameterMap::Node* parameter = field.parameters.FindOrInsert(name);
    if (parameter == nullptr) throw std::bad_alloc();
    parameter->value = {isQuoted ? MIME::Encoding::Quote(text) : text, isQuoted};
}

}  // namespace Tool
