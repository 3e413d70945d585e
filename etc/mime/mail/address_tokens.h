#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

/// The tokens of address fields (RFC 5322, 3.2).
namespace MIME {

/// A piece of a field's value. White space is no token.
struct AddressToken {
    enum class Kind {
        atom,     ///< a run of characters that mean nothing special
        word,     ///< an encoded word (RFC 2047)
        quoted,   ///< a quoted-string, quotes included
        comment,  ///< with its parentheses; the last one is missing when the comment does not end
        literal,  ///< a domain literal, brackets included
        escape,   ///< a backslash outside of all these, and the byte after it
        mark,     ///< any other byte: a delimiter, or a quote or parenthesis without its partner
    };

    Kind kind;
    bool isSpaced;  ///< white space precedes it
    std::string_view text;

    bool Is(char mark) const noexcept { return kind == Kind::mark && text.front() == mark; }
    bool Is(Kind wanted) const noexcept { return kind == wanted; }
};

/// Divides a value into tokens, which are views of it.
std::vector<AddressToken> TokenizeAddresses(std::string_view value);

/// Returns true for a character that an atom may have.
bool IsAddressAtomByte(char c) noexcept;

}  // namespace MIME
