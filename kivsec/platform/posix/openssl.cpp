#include "kivsec/platform/posix/openssl.h"

namespace KivOssSec::OpenSsl {

Context::Context() noexcept : handle_(OSSL_LIB_CTX_new()) {
    if (handle_ != nullptr) default_ = OSSL_PROVIDER_load(handle_, "default");
}

Context::~Context() {
    if (legacy_ != nullptr) OSSL_PROVIDER_unload(legacy_);
    if (default_ != nullptr) OSSL_PROVIDER_unload(default_);
    OSSL_LIB_CTX_free(handle_);
}

bool Context::AddLegacy() noexcept {
    if (legacy_ != nullptr) return false;
    const ErrorQueueGuard guard;
    legacy_ = OSSL_PROVIDER_load(handle_, "legacy");
    return legacy_ != nullptr;
}

}  // namespace KivOssSec::OpenSsl
