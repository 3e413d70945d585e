#include "mime/parser/structured_field.h"

#include <cstddef>

#include "kivgui/ascii.h"

namespace MIME {

using KivGuiBase::IsSpaceAscii;

namespace {

/// Reads from the front of a text.
class Scanner {
public:
    explicit Scanner(std::string_view text) noexcept : rest_(text) {}

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

    /// Behind the "(" of a comment: moves behind it. Comments nest (RFC 5322, 3.2.2).
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

    /// Behind the quote that begins a quoted-string: appends its content (RFC 5322, 3.2.4).
    void TakeQuoted(std::string& out) {
        while (!IsAtEnd()) {
            char c = Take();
            if (c == '"') return;
            if (c == '\\' && !IsAtEnd()) c = Take();
            out += c;
        }
    }

    /// Text without quotes, up to one of `stops`, which stays; blanks at its end and comments go.
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

void ParseParameter(Scanner& scanner, StructuredField::Parameter& parameter) {
    scanner.SkipSpaceAndComments();
    scanner.TakeBare("=;", parameter.name);
    if (scanner.IsAtEnd() || scanner.Peek() == ';') return;
    scanner.Take();
    scanner.SkipSpaceAndComments();
    if (scanner.IsAtEnd() || scanner.Peek() != '"') {
        scanner.TakeBare(";", parameter.value);
        return;
    }
    scanner.Take();
    scanner.TakeQuoted(parameter.value);
    scanner.SkipTo(';');
}

}  // namespace

void ParseStructuredField(std::string_view text, StructuredField& field) {
    field.value.clear();
    field.parameters.clear();
    Scanner scanner(text);
    scanner.SkipSpaceAndComments();
    if (!scanner.IsAtEnd() && scanner.Peek() == '"') {
        scanner.Take();
        scanner.TakeQuoted(field.value);
        scanner.SkipTo(';');
    } else {
        scanner.TakeBare(";", field.value);
    }
    while (!scanner.IsAtEnd()) {
        scanner.Take();  // the ";"
        StructuredField::Parameter parameter;
        ParseParameter(scanner, parameter);
        if (!parameter.name.empty()) field.parameters.push_back(std::move(parameter));
    }
}

}  // namespace MIME
