#pragma once

#include <string_view>

/// The texts of every multipart/signed message (RFC 1847, 2.1; RFC 8551, 3.5.3).
namespace KivOssSec {

/// For people whose program does not know S/MIME; before the first boundary line.
inline constexpr std::string_view kPreamble =
    "\r\nThis is a signed message in MIME format (S/MIME).\r\n";

inline constexpr std::string_view kSignatureHeader =
    "Content-Type: application/pkcs7-signature; name=\"smime.p7s\"\r\n"
    "Content-Transfer-Encoding: base64\r\n"
    "Content-Disposition: attachment; filename=\"smime.p7s\"\r\n"
    "\r\n";

inline constexpr unsigned kBase64Line = 76;  // RFC 2045, 6.8

}  // namespace KivOssSec
