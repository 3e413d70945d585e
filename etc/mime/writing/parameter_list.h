#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "mime/mail/mail.h"

namespace MIME {

/// A field with parameters as a host gives it, decoded.
struct ParameterList {
    std::string value;
    std::vector<Parameter> parameters;  ///< in order, each name once
};

/// Takes a field apart by the strict grammar (RFC 2045, 5.1; RFC 2231): there is nothing in it but
/// the value and parameters, of which none is lost. @throws WriteFailure (badField)
ParameterList ReadParameterList(std::string_view field, std::string_view text);

/// A token (RFC 2045, 5.1).
bool IsToken(std::string_view text) noexcept;

}  // namespace MIME
