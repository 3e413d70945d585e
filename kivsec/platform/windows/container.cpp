#include "kivsec/platform/windows/signer.h"

#include <cwchar>
#include <iterator>

#include "kivgui/random.h"

// For systems that cannot import a key into memory, which means Wine. It accepts the flag that
// forbids storing the key, but stores it all the same: in the user's default key container, with a
// provider that does not know SHA-256. So the key is moved to another provider, into a container
// that is removed after signing, and the default container is removed at once. If a default
// container existed before, it is the user's, and nothing is imported.

namespace KivOssSec::CryptoApi {

namespace {

/// Allows one import at a time in the user's session, because all of them use the one container.
class SessionLock {
public:
    SessionLock() noexcept : mutex_(CreateMutexW(nullptr, FALSE, L"Local\\KIVMIME-key-import")) {
        isHeld_ = mutex_ != nullptr && WaitForSingleObject(mutex_, INFINITE) != WAIT_FAILED;
    }
    ~SessionLock() {
        if (isHeld_) ReleaseMutex(mutex_);
        if (mutex_ != nullptr) CloseHandle(mutex_);
    }
    SessionLock(const SessionLock&) = delete;
    SessionLock& operator=(const SessionLock&) = delete;

    bool IsHeld() const noexcept { return isHeld_; }

private:
    HANDLE mutex_;
    bool isHeld_;
};

bool HasDefaultContainer() noexcept {
    Provider provider;
    return CryptAcquireContextW(provider.GetPlace(), nullptr, MS_ENHANCED_PROV_W, PROV_RSA_FULL,
                                CRYPT_SILENT) != FALSE;
}

void RemoveDefaultContainer() noexcept {
    HCRYPTPROV none = 0;
    CryptAcquireContextW(&none, nullptr, MS_ENHANCED_PROV_W, PROV_RSA_FULL,
                         CRYPT_DELETEKEYSET | CRYPT_SILENT);
}

bool ExportKey(const PrivateKey& key, SecretBytes& blob) noexcept {
    ProviderKey handle;
    DWORD size = 0;
    return CryptGetUserKey(key.handle, key.purpose, handle.GetPlace()) &&
           CryptExportKey(handle.Get(), 0, PRIVATEKEYBLOB, 0, nullptr, &size) && blob.Renew(size) &&
           CryptExportKey(handle.Get(), 0, PRIVATEKEYBLOB, 0,
                          reinterpret_cast<BYTE*>(blob.GetData()), &size);
}

/// Copies the certificates without their keys to a store of their own, and exports the key.
bool TakeApart(HCERTSTORE imported, KeyFile& file, SecretBytes& keyBlob) noexcept {
    file.certificates.reset(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    if (file.certificates == nullptr) return false;
    const CERT_CONTEXT* next = nullptr;
    bool taken = true;
    while ((next = CertEnumCertificatesInStore(imported, next)) != nullptr) {
        taken = taken && CertAddEncodedCertificateToStore(
                             file.certificates.get(), X509_ASN_ENCODING, next->pbCertEncoded,
                             next->cbCertEncoded, CERT_STORE_ADD_USE_EXISTING, nullptr);
        const PrivateKey key = GetKey(next);
        if (key.handle == 0 || keyBlob.GetSize() != 0) continue;
        file.keySpec = key.purpose;
        taken = taken && ExportKey(key, keyBlob);
    }
    return taken;
}

bool Import(CRYPT_DATA_BLOB& bytes, const wchar_t* passPhrase, KeyFile& file) noexcept {
    Store imported(
        PFXImportCertStore(&bytes, passPhrase, PKCS12_NO_PERSIST_KEY | CRYPT_EXPORTABLE));
    if (imported == nullptr) return false;
    SecretBytes keyBlob;
    const bool taken = TakeApart(imported.get(), file, keyBlob);
    imported.reset();  // writes the key into the container
    return taken && (keyBlob.GetSize() == 0 || file.container.Import(keyBlob));
}

}  // namespace

bool TemporaryContainer::Import(const SecretBytes& keyBlob) noexcept {
    unsigned long long number = 0;
    if (!KivGuiBase::GetUnpredictableBytes(&number, sizeof number)) return false;
    std::swprintf(name_, std::size(name_), L"KIVMIME-%lu-%016llx", GetCurrentProcessId(), number);
    ProviderKey key;
    return CryptAcquireContextW(provider_.GetPlace(), name_, MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES,
                                CRYPT_NEWKEYSET | CRYPT_SILENT) &&
           CryptImportKey(provider_.Get(), reinterpret_cast<const BYTE*>(keyBlob.GetData()),
                          static_cast<DWORD>(keyBlob.GetSize()), 0, 0, key.GetPlace());
}

TemporaryContainer::~TemporaryContainer() {
    if (provider_.Get() == 0) return;
    const LastErrorKept kept;
    provider_ = Provider();  // which may write the key once more
    HCRYPTPROV none = 0;
    CryptAcquireContextW(&none, name_, MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES,
                         CRYPT_DELETEKEYSET | CRYPT_SILENT);
}

bool ReadIntoContainer(CRYPT_DATA_BLOB& bytes, const wchar_t* passPhrase, KeyFile& file,
                       DWORD& systemError) noexcept {
    const SessionLock lock;
    if (!lock.IsHeld() || HasDefaultContainer()) {
        systemError = static_cast<DWORD>(NTE_EXISTS);
        return false;
    }
    ::SetLastError(ERROR_SUCCESS);
    const bool imported = Import(bytes, passPhrase, file);
    systemError = imported ? ERROR_SUCCESS : ::GetLastError();
    RemoveDefaultContainer();
    return imported;
}

}  // namespace KivOssSec::CryptoApi
