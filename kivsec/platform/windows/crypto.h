#pragma once

// The files of this folder include the system's header of cryptography through this one.
#include "kivgui/platform/windows/system.h"

#define CMSG_SIGNER_ENCODE_INFO_HAS_CMS_FIELDS
#include <wincrypt.h>

#include <memory>
#include <utility>

#include "kivgui/error.h"

/// Owners for the handles of CryptoAPI. They let go without a trace in the last error, which may be
/// the reason of a failure.
namespace KivOssSec::CryptoApi {

using KivGuiBase::Platform::LastErrorKept;

struct StoreCloser {
    void operator()(void* store) const noexcept {
        const LastErrorKept kept;
        CertCloseStore(store, 0);
    }
};
struct CertificateFreer {
    void operator()(const CERT_CONTEXT* certificate) const noexcept {
        const LastErrorKept kept;
        CertFreeCertificateContext(certificate);
    }
};
struct MessageCloser {
    void operator()(void* message) const noexcept {
        const LastErrorKept kept;
        CryptMsgClose(message);
    }
};

using Store = std::unique_ptr<void, StoreCloser>;
using Certificate = std::unique_ptr<const CERT_CONTEXT, CertificateFreer>;
using Message = std::unique_ptr<void, MessageCloser>;

/// Owns something of the system that is named by a number.
template <class Number, auto Free>
class Handle {
public:
    Handle() noexcept = default;
    Handle(Handle&& other) noexcept : number_(std::exchange(other.number_, Number{})) {}
    Handle& operator=(Handle&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Handle() {
        const LastErrorKept kept;
        if (number_ != Number{}) Free(number_);
    }
    Number Get() const noexcept { return number_; }
    /// Where a function of the system stores the number; there must be none yet.
    Number* GetPlace() noexcept { return &number_; }

private:
    Number number_{};
};

inline void ReleaseProvider(HCRYPTPROV provider) noexcept {
    CryptReleaseContext(provider, 0);
}
inline void DestroyKey(HCRYPTKEY key) noexcept {
    CryptDestroyKey(key);
}

using Provider = Handle<HCRYPTPROV, ReleaseProvider>;
using ProviderKey = Handle<HCRYPTKEY, DestroyKey>;

/// How the system names a private key. It belongs to the object that it came from.
struct PrivateKey {
    HCRYPTPROV_OR_NCRYPT_KEY_HANDLE handle = 0;
    DWORD purpose = 0;  ///< which of a provider's two keys; CERT_NCRYPT_KEY_SPEC for a key of CNG
};

/// The key that was imported with a certificate of a PKCS#12 file; the handle is 0 if there is
/// none.
inline PrivateKey GetKey(const CERT_CONTEXT* certificate) noexcept {
    CERT_KEY_CONTEXT context{};
    DWORD size = sizeof context;
    if (!CertGetCertificateContextProperty(certificate, CERT_KEY_CONTEXT_PROP_ID, &context,
                                           &size)) {
        return {};
    }
    return {context.hCryptProv, context.dwKeySpec};
}

inline bool Fail(uint32_t code) noexcept {
    KivGuiBase::SetLastError(code);
    return false;
}

}  // namespace KivOssSec::CryptoApi
