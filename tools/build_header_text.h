#pragma once

#include <string>
#include <string_view>

#include <mime/mime.h>

namespace Tool {

/// @name What decides how a text can stand in a header field
/// @{
bool IsUtf8(std::string_view text);
bool IsAscii(std::string_view text);
/// A control byte (below 0x20, tabs and line ends included) or DEL?
bool HasControls(std::string_view text);
/// A word that may not fit a line (RFC 5322, 2.1.1)? Folding would put a space into it.
bool HasOverlongWord(std::string_view text);
/// @}

/// A text that people read, such as a subject, as a field's value that mail programs show exactly
/// as it was given: as encoded words where the bare text would come out differently. These are
/// control characters, white space at the ends, overlong words, and what looks like an encoded
/// word. @throws Failure when the text is not UTF-8.
MIME::AnsiStr MakeUnstructured(const std::string& option, const std::string& text);

/// The field of that name, made when it is missing. @throws std::bad_alloc
MIME::HeaderValue& GetField(MIME::Part& part, const char* name);

/// Sets a parameter. The library writes every atom bare; here some are quoted: with "/" or "?" it is
/// no token (RFC 2045, 5.1), and with what RFC 2231 gives a meaning some mail programs misread it.
/// @throws std::bad_alloc
void SetParameter(MIME::HeaderValue& field, const char* name, const std::string& value);

}  // namespace Tool
