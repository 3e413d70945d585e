#pragma once

#include "kivsec/platform/windows/crypto.h"

namespace KivOssSec::CryptoApi {

/// Why a PKCS#12 file could not be imported: for Wine, which does not say. It is the pass phrase if
/// the code over the file (RFC 7292, 4) does not match; else what the file lacks, as far as that
/// shows without decrypting it; else the kind of its key.
/// @return the last-error code; kErrorSigningFailed for a file without a code that we can compute.
KivGuiBase::ErrorCode FindReason(const CRYPT_DATA_BLOB& file, const wchar_t* passPhrase) noexcept;

}  // namespace KivOssSec::CryptoApi
