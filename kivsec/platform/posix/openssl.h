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

/// Library contexts with providers of their own, so that the host's providers and configuration
/// neither matter nor change. Objects that were made with a context must be freed before it.
class Context {
public:
    Context() noexcept : handle_(OSSL_LIB_CTX_new()), builtIn_(OSSL_LIB_CTX_new()) {
        // A null context would be the host's. A context that has loaded nothing loads the default
        // provider at its first use, so it gets the provider "null".
        if (handle_ != nullptr) default_ = OSSL_PROVIDER_load(handle_, "default");
        if (builtIn_ != nullptr) none_ = OSSL_PROVIDER_load(builtIn_, "null");
    }
    ~Context() {
        for (OSSL_PROVIDER* provider : {legacy_, default_, none_}) {
            if (provider != nullptr) OSSL_PROVIDER_unload(provider);
        }
        OSSL_LIB_CTX_free(handle_);
        OSSL_LIB_CTX_free(builtIn_);
    }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    /// Returns true if the contexts could be made.
    bool IsReady() const noexcept { return default_ != nullptr; }
    OSSL_LIB_CTX* GetHandle() const noexcept { return handle_; }

    /// Adds the algorithms of old PKCS#12 files.
    /// @return false when they are there already or OpenSSL was installed without them.
    bool AddLegacy() noexcept;

    /// Calls `decode` in a context to make a key; null when that fails.
    ///
    /// The decoders of OpenSSL's providers leave a copy of the key in memory that they have freed;
    /// those built into the library do not, but do not know every kind of key. A context without
    /// providers uses the latter, and is tried first.
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

/// Removes the errors of its lifetime from the thread's queue, which is the host's too.
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

inline bool Context::AddLegacy() noexcept {
    if (legacy_ != nullptr) return false;
    const ErrorQueueGuard guard;
    legacy_ = OSSL_PROVIDER_load(handle_, "legacy");
    return legacy_ != nullptr;
}

}  // namespace KivOssSec::OpenSsl
