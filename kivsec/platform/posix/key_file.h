#pragma once

#include <string_view>

#include "kivsec/platform/posix/openssl.h"

namespace KivOssSec::OpenSsl {

/// What a signer's file holds.
struct KeyFile {
    Key key;                    ///< the first private key
    Certificates certificates;  ///< in the order of the file
};

/// Read a file's bytes, and fail with the last error set. A file may have no key or certificate.
/// The pass phrase is not null.
bool ReadPem(std::string_view bytes, const char* passPhrase, Context& context,
             KeyFile& file) noexcept;
bool ReadPkcs12(std::string_view bytes, const char* passPhrase, Context& context,
                KeyFile& file) noexcept;

/// A key that has been decrypted; null when it is malformed.
Key DecodeKey(const PKCS8_PRIV_KEY_INFO* info, const Context& context) noexcept;

/// Adds a certificate in DER.
bool AddCertificate(std::string_view der, const Context& context, KeyFile& file) noexcept;

}  // namespace KivOssSec::OpenSsl
