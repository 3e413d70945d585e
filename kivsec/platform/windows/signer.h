#pragma once

#include "kivgui/ansi_str.h"
#include "kivsec/platform/windows/crypto.h"
#include "kivsec/secret.h"

namespace KivOssSec::CryptoApi {

/// A key container that is removed with this object. It has a name, because Wine never removes the
/// key of a container without one.
class TemporaryContainer {
public:
    TemporaryContainer() noexcept = default;
    TemporaryContainer(const TemporaryContainer&) = delete;
    TemporaryContainer& operator=(const TemporaryContainer&) = delete;
    ~TemporaryContainer();

    /// Makes the container, with a key from a PRIVATEKEYBLOB in it.
    bool Import(const SecretBytes& keyBlob) noexcept;
    /// 0 when there is none.
    HCRYPTPROV Get() const noexcept { return provider_.Get(); }

private:
    wchar_t name_[64]{};
    Provider provider_;
};

/// What a PKCS#12 file holds.
struct KeyFile {
    Store certificates;            ///< with their keys in memory, unless `container` has the key
    TemporaryContainer container;  ///< has the one key of the file, where one is needed
    DWORD keySpec = 0;             ///< which of the container's keys it is
};

/// Who signs.
struct Signer {
    KeyFile file;  ///< owns `key`
    Certificate certificate;
    PrivateKey key;
};

/// Reads a file's bytes; fails with the last error set. The file may have no key or certificate.
bool ReadPkcs12(SecretBytes& bytes, const KivGuiBase::AnsiStr& passPhrase, KeyFile& file) noexcept;

/// The same where the system cannot import a key into memory.
/// @return false with the system's error code in `systemError`, 0 when it gave no reason.
bool ReadIntoContainer(CRYPT_DATA_BLOB& bytes, const wchar_t* passPhrase, KeyFile& file,
                       DWORD& systemError) noexcept;

/// Finds out why a PKCS#12 file could not be imported, for Wine, which does not say. The reason is
/// the pass phrase if the code over the file (RFC 7292, 4) does not match; otherwise what the file
/// lacks, as far as that shows without decrypting it; otherwise the kind of its key.
/// @return the last-error code; kErrorSigningFailed for a file without a code that we can compute.
KivGuiBase::ErrorCode FindReason(const CRYPT_DATA_BLOB& file, const wchar_t* passPhrase) noexcept;

/// Reads the signer from a file's bytes.
/// @return false, with the last error set, when there is none, or it may not sign mail now.
bool LoadSigner(SecretBytes& bytes, const KivGuiBase::AnsiStr& passPhrase, Signer& signer) noexcept;

}  // namespace KivOssSec::CryptoApi
