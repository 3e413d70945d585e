#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "mime/mime.h"

namespace MIME {

/// Sets value and parameters from the text of a field, by the exact rules: up to the first ";" the
/// value, then parameters between ";". Quotes are removed; nothing is decoded. Parameters that the
/// target has already stay unless they are given again.
/// @param text  without white space around it, at most AnsiStr::kMaxLength bytes.
/// @return false when memory runs out.
bool ParseHeaderValue(HeaderValue& target, std::string_view text) noexcept;

/// The value of a field that has parameters, taken apart by the mail rules (RFC 2045, 5.1).
struct StructuredField {
    struct Parameter {
        std::string name;
        std::string value;
        bool isQuoted = false;
        bool isOpen = false;  ///< the closing quote is missing
    };

    std::string value;
    std::vector<Parameter> parameters;  ///< in order; the value is empty where there was no "="
    bool lacksSemicolon = false;        ///< of ParseMediaType: departure 4 has given parameters
};

/// Takes a field apart the way mail programs do: comments, quotes and backslashes are removed,
/// nothing is decoded. Linear. Throws std::bad_alloc.
///
/// Departs from RFC 2045, 5.1, so that every text can be read:
///  1. A "(" begins a comment only after white space or at the start: senders write file names such
///     as "a(1).txt" without quotes.
///  2. A value without quotes ends at the next ";", blanks inside it included.
///  3. A quoted-string or comment that is not closed extends to the end.
///  4. A media type with a blank in it ends at the blank, which stands for a missing ";".
void ParseStructuredField(std::string_view text, StructuredField& field);
/// The same for Content-Type, with departure 4.
void ParseMediaType(std::string_view text, StructuredField& field);

}  // namespace MIME
