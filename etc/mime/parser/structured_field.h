#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace MIME {

/// The value of a field that has parameters, taken apart (RFC 2045, 5.1): comments are gone,
/// quotes and backslashes too; nothing is decoded.
struct StructuredField {
    struct Parameter {
        std::string name;
        std::string value;
    };

    std::string value;
    std::vector<Parameter> parameters;  ///< in order; those without a "=" have an empty value
};

/// Takes a field apart as mail programs do: what RFC 2045 does not allow is read all the same.
///
/// A "(" begins a comment where white space or nothing stands before it: senders write file names
/// such as "a(1).txt" without quotes. A value without quotes goes up to the next ";", blanks
/// inside it included. What is not closed reaches to the end. Linear. Throws std::bad_alloc.
void ParseStructuredField(std::string_view text, StructuredField& field);

}  // namespace MIME
