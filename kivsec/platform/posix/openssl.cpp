#include "kivsec/platform/posix/openssl.h"

namespace KivOssSec::OpenSsl {

Context::Context() noexcept : handle_(OSSL_LIB_CTX_new()), builtIn_(OSSL_LIB_CTX_new()) {
    // A null context would be the host's. One that has loaded nothing gets the default provider at
    // its first use; "null" is a provider too.
    if (handle_ != nullptr) default_ = OSSL_PROVIDER_load(handle_, "default");
    if (builtIn_ != nullptr) none_ = OSSL_PROVIDER_load(builtIn_, "null");
}

Context::~Context() {
    for (OSSL_PROVIDER* provider : {legacy_, default_, none_}) {
        if (provider != nullptr) OSSL_PROVIDER_unload(provider);
    }
    OSSL_LIB_CTX_free(handle_);
    OSSL_LIB_CTX_free(builtIn_);
}

bool Context::AddLegacy() noexcept {
    if (legacy_ != nullptr) return false;
    const ErrorQueueGuard guard;
    legacy_ = OSSL_PROVIDER_load(handle_, "legacy");
    return legacy_ != nullptr;
}

}  // namespace KivOssSec::OpenSsl
