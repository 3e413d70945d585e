#pragma once

#include <string_view>

#include "kivsec/platform/posix/openssl.h"

namespace KivOssSec::OpenSsl {

/// What a signer's file holds.
struct KeyFile {
    Key key;                    ///< the first private key
    Certificates certificates;  ///< in the order of the file
};

/// Who signs.
struct Signer {
    Key key;
    Certificate certificate;  ///< of the key
    Certificates others;      ///< sent along with the signature
};

/// Read a file's bytes, and fail with the last error set. A file may have no key or certificate.
/// The pass phrase is not null.
bool ReadPem(std::string_view bytes, const char* passPhrase, Context& context,
             KeyFile& file) noexcept;
bool ReadPkcs12(std::string_view bytes, const char* passPhrase, Context& context,
                KeyFile& file) noexcept;

/// Decodes a key that has been decrypted; null when it is malformed.
Key DecodeKey(const PKCS8_PRIV_KEY_INFO* info, const Context& context) noexcept;

/// Adds a certificate in DER.
bool AddCertificate(std::string_view der, const Context& context, KeyFile& file) noexcept;

/// Reads the signer from a file's bytes, PEM or PKCS#12.
/// @return false, with the last error set, when there is none, or it may not sign mail now.
bool LoadSigner(std::string_view bytes, const char* passPhrase, Context& context,
                Signer& signer) noexcept;

}  // namespace KivOssSec::OpenSsl
