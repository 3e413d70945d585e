#include "mime/parser/structured_field.h"

#include <cstddef>

#include "kivgui/ascii.h"
#include "kivgui/convert.h"
#include "kivgui/token_iterator.h"

// Fields with parameters, taken apart by each set of rules in one pass from the front. The exact rules split
// at ";" outside quotes and then at "="; the mail rules read a grammar in which every text has a meaning,
// with the departures from RFC 2045 that the header lists.

namespace MIME {

using KivGuiBase::ExtendedUnQuote;
using KivGuiBase::IsSpaceAscii;
using KivGuiBase::TrimSpace;

// ------------------------------------------------------------------------------- exact rules --

namespace {

AnsiSubStr ToSubStr(std::string_view text) noexcept {
    return {text.data(), static_cast<unsigned>(text.size())};
}

/// Stores one parameter; `text` is what two ";" enclose.
bool ParseExactParameter(ParameterMap& parameters, std::string_view text) noexcept {
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

bool ParseHeaderValue(HeaderValue& target, std::string_view text) noexcept {
    const size_t semicolon = text.find(';');
    if (semicolon == std::string_view::npos || semicolon == 0) {
        target.value = ExtendedUnQuote(ToSubStr(text));
        return true;
    }
    target.value = TrimSpace(text.substr(0, semicolon));
    KivGuiBase::TokenIterator tokens(TrimSpace(text.substr(semicolon + 1)), ";");
    while (tokens.ToNext()) {
        if (!ParseExactParameter(target.parameters, tokens.token)) return false;
    }
    return true;
}

// -------------------------------------------------------------------------------- mail rules --

namespace {

/// Takes a field's text from the front.
class FieldText {
public:
    explicit FieldText(std::string_view text) noexcept : rest_(text) {}

    bool IsAtEnd() const noexcept { return rest_.empty(); }
    char Peek() const noexcept { return rest_.front(); }
    char Take() noexcept {
        const char c = rest_.front();
        rest_.remove_prefix(1);
        return c;
    }

    void SkipSpaceAndComments() noexcept {
        while (!IsAtEnd() && (IsSpaceAscii(Peek()) || Peek() == '(')) {
            if (Take() == '(') SkipComment();
        }
    }

    /// The "(" of a comment has been taken: moves past its end. Comments nest (RFC 5322, 3.2.2).
    void SkipComment() noexcept {
        for (size_t depth = 1; depth != 0 && !IsAtEnd();) {
            const char c = Take();
            if (c == '\\' && !IsAtEnd()) {
                Take();
            } else if (c == '(') {
                ++depth;
            } else if (c == ')') {
                --depth;
            }
        }
    }

    /// The opening quote of a quoted-string has been taken: appends its content (RFC 5322, 3.2.4).
    /// @return false when the closing quote is missing.
    bool TakeQuoted(std::string& out) {
        while (!IsAtEnd()) {
            char c = Take();
            if (c == '"') return true;
            if (c == '\\' && !IsAtEnd()) c = Take();
            out += c;
        }
        return false;
    }

    /// Appends text without quotes up to one of `stops`, which stays. Comments and trailing blanks
    /// are removed.
    void TakeBare(std::string_view stops, std::string& out) {
        bool afterSpace = true;
        size_t kept = 0;
        while (!IsAtEnd() && stops.find(Peek()) == std::string_view::npos) {
            const char c = Take();
            if (c == '(' && afterSpace) {
                SkipComment();
                continue;
            }
            afterSpace = IsSpaceAscii(c);
            if (afterSpace && out.empty()) continue;
            out += c;
            if (!afterSpace) kept = out.size();
        }
        out.resize(kept);
    }

    void SkipTo(char stop) noexcept {
        while (!IsAtEnd() && Peek() != stop) {
            if (Take() == '(') SkipComment();
        }
    }

private:
    std::string_view rest_;
};

void ParseParameter(FieldText& source, StructuredField::Parameter& parameter) {
    source.SkipSpaceAndComments();
    source.TakeBare("=;", parameter.name);
    if (source.IsAtEnd() || source.Peek() == ';') return;
    source.Take();
    source.SkipSpaceAndComments();
    if (source.IsAtEnd() || source.Peek() != '"') {
        source.TakeBare(";", parameter.value);
        return;
    }
    source.Take();
    parameter.isQuoted = true;
    parameter.isOpen = !source.TakeQuoted(parameter.value);
    source.SkipTo(';');
}

}  // namespace

void ParseStructuredField(std::string_view text, StructuredField& field) {
    field.value.clear();
    field.parameters.clear();
    field.lacksSemicolon = false;
    FieldText source(text);
    source.SkipSpaceAndComments();
    if (!source.IsAtEnd() && source.Peek() == '"') {
        source.Take();
        source.TakeQuoted(field.value);
        source.SkipTo(';');
    } else {
        source.TakeBare(";", field.value);
    }
    while (!source.IsAtEnd()) {
        source.Take();  // the ";"
        StructuredField::Parameter parameter;
        ParseParameter(source, parameter);
        if (!parameter.name.empty()) field.parameters.push_back(std::move(parameter));
    }
}

void ParseMediaType(std::string_view text, StructuredField& field) {
    ParseStructuredField(text, field);
    const size_t blank = field.value.find_first_of(" \t");
    if (blank == std::string::npos) return;
    StructuredField tail;
    ParseStructuredField(";" + field.value.substr(blank), tail);
    field.value.resize(blank);
    field.lacksSemicolon = !tail.parameters.empty();
    field.parameters.insert(field.parameters.begin(), tail.parameters.begin(),
                            tail.parameters.end());
}

}  // namespace MIME
