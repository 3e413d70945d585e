#pragma once

#include "kivsec/platform/windows/crypto.h"

namespace KivOssSec::CryptoApi {

enum class MacResult { matches, differs, unknown };

/// Whether a pass phrase is the one of a PKCS#12 file (RFC 7292, 4): for Wine, whose
/// PFXVerifyPassword says nothing. Unknown for a file without a code, or with one that we cannot
/// compute.
MacResult VerifyMac(const CRYPT_DATA_BLOB& file, const wchar_t* passPhrase) noexcept;

}  // namespace KivOssSec::CryptoApi
