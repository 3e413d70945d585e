#include "mime/parser/header_block.h"

#include "kivgui/ascii.h"
#include "mime/parser/messages.h"

namespace MIME {

using KivGuiBase::ExtendedUnQuote;
using KivGuiBase::TrimSpace;

namespace {

/// Header lines are at most AnsiStr::kMaxLength long, and so are their pieces.
AnsiSubStr ToSubStr(std::string_view text) noexcept {
    return {text.data(), static_cast<unsigned>(text.size())};
}

/// Stores one parameter; `text` is what stands between two ";".
bool ParseParameter(ParameterMap& parameters, std::string_view text) noexcept {
    text = TrimSpace(text);
    const size_t equals = text.find('=');
    const bool hasValue = equals != std::string_view::npos && equals != 0;
    const AnsiStr name =
        hasValue ? AnsiStr(TrimSpace(text.substr(0, equals))) : ExtendedUnQuote(ToSubStr(text));
    ParameterMap::Node* parameter = parameters.FindOrInsert(name);
    if (parameter == nullptr) return false;
    parameter->value.value =
        hasValue ? ExtendedUnQuote(ToSubStr(TrimSpace(text.substr(equals + 1)))) : AnsiStr();
    parameter->value.raw = false;
    return true;
}

}  // namespace

bool ReadHeaderBlock(Part& part, Cursor& cursor, AnsiStr& error) noexcept {
    for (;;) {
        const Line line = TakeLine(cursor);
        if (line.kind == Line::Kind::hasNul) {
            error = Messages::kNulInText;
            return false;
        }
        if (line.text.empty()) {
            if (line.kind == Line::Kind::ended) return true;
            error = Messages::kTextBoundaryMissing;
            return false;
        }
        if (line.text.size() > AnsiStr::kMaxLength) {
            error = Messages::kLineTooLong;
            return false;
        }
        if (!ParseHeaderLine(part, ToSubStr(line.text), error)) return false;
    }
}

bool ParseHeaderLine(Part& part, const AnsiSubStr& line, AnsiStr& error) noexcept {
    const std::string_view text = line;
    const size_t colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0) {
        error = Messages::UnexpectedHeaderLine(text);
        return false;
    }
    HeaderMap::Node* field = part.headers.FindOrInsert(TrimSpace(text.substr(0, colon)));
    return field != nullptr &&
           ParseHeaderValue(field->value, ToSubStr(TrimSpace(text.substr(colon + 1))));
}

bool ParseHeaderValue(HeaderValue& target, const AnsiSubStr& text) noexcept {
    const std::string_view whole = text;
    const size_t semicolon = whole.find(';');
    if (semicolon == std::string_view::npos || semicolon == 0) {
        target.value = ExtendedUnQuote(text);
        return true;
    }
    target.value = TrimSpace(whole.substr(0, semicolon));
    KivGuiBase::TokenIterator tokens(TrimSpace(whole.substr(semicolon + 1)), ";");
    while (tokens.ToNext()) {
        if (!ParseParameter(target.parameters, tokens.token)) return false;
    }
    return true;
}

}  // namespace MIME
