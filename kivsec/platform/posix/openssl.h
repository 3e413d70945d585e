#pragma once

#include <memory>

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <openssl/x509.h>

#include "kivgui/error.h"

/// OpenSSL's objects with an owner, and a context that the host does not share.
namespace KivOssSec::OpenSsl {

template <auto Free>
struct Freer {
    template <class T>
    void operator()(T* object) const noexcept {
        Free(object);
    }
};

struct CertificatesFreer {
    void operator()(STACK_OF(X509) * stack) const noexcept { sk_X509_pop_free(stack, X509_free); }
};

using Bio = std::unique_ptr<BIO, Freer<BIO_free_all>>;
using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY_free>>;
using KeyInfo = std::unique_ptr<PKCS8_PRIV_KEY_INFO, Freer<PKCS8_PRIV_KEY_INFO_free>>;
using Certificate = std::unique_ptr<X509, Freer<X509_free>>;
using Certificates = std::unique_ptr<STACK_OF(X509), CertificatesFreer>;

/// Library contexts with providers of their own: the host's providers and configuration neither
/// matter nor change. What was made with them must be gone before them.
class Context {
public:
    Context() noexcept;
    ~Context();
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    /// Could it be made?
    bool IsReady() const noexcept { return default_ != nullptr; }
    OSSL_LIB_CTX* GetHandle() const noexcept { return handle_; }

    /// Adds the algorithms of old PKCS#12 files.
    /// @return false when they are there already or OpenSSL was installed without them.
    bool AddLegacy() noexcept;

    /// A key from what `decode` makes of it in a context; null when that fails.
    ///
    /// The decoders of OpenSSL's providers leave a copy of the key in memory that they have given
    /// back, those built into the library do not. Without providers it takes the latter, which do
    /// not know every kind of key.
    template <class Decode>
    Key MakeKey(Decode decode) const noexcept {
        Key key(builtIn_ != nullptr ? decode(builtIn_) : nullptr);
        if (key == nullptr) key.reset(decode(handle_));
        return key;
    }

private:
    OSSL_LIB_CTX* handle_;
    OSSL_PROVIDER* default_ = nullptr;
    OSSL_PROVIDER* legacy_ = nullptr;
    OSSL_LIB_CTX* builtIn_;  ///< without providers
    OSSL_PROVIDER* none_ = nullptr;
};

/// Takes the errors that come up while it lives off the thread's queue, which is the host's too.
class ErrorQueueGuard {
public:
    ErrorQueueGuard() noexcept { ERR_set_mark(); }
    ~ErrorQueueGuard() { ERR_pop_to_mark(); }
    ErrorQueueGuard(const ErrorQueueGuard&) = delete;
    ErrorQueueGuard& operator=(const ErrorQueueGuard&) = delete;
};

inline bool Fail(KivGuiBase::ErrorCode code) noexcept {
    KivGuiBase::SetLastError(code);
    return false;
}

}  // namespace KivOssSec::OpenSsl
