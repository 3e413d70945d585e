#pragma once

#include <string_view>

#include "kivsec/platform/posix/openssl.h"

namespace KivOssSec::OpenSsl {

/// Who signs.
struct Signer {
    Key key;
    Certificate certificate;  ///< of the key
    Certificates others;      ///< sent along
};

/// Takes the signer from a file's bytes, PEM or PKCS#12.
/// @return false, with the last error set, when there is none, or it may not sign mail now.
bool LoadSigner(std::string_view bytes, const char* passPhrase, Context& context,
                Signer& signer) noexcept;

}  // namespace KivOssSec::OpenSsl
