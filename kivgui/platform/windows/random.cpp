#include "kivgui/platform/windows/system.h"

#include <bcrypt.h>
#include <algorithm>

#include "kivgui/platform/platform.h"

namespace KivGuiBase::Platform {

bool FillRandom(void* buffer, size_t size) noexcept {
    constexpr size_t kMaxRequest = 0x40000000;  // a request's size has 32 bits
    auto* next = static_cast<unsigned char*>(buffer);
    while (size > 0) {
        const size_t part = std::min(size, kMaxRequest);
        if (BCryptGenRandom(nullptr, next, static_cast<ULONG>(part),
                            BCRYPT_USE_SYSTEM_PREFERRED_RNG) < 0) {
            SetLastError(kErrorGeneralFailure);
            return false;
        }
        next += part;
        size -= part;
    }
    return true;
}

uint64_t GetProcessGeneration() noexcept {
    return 1;
}

}  // namespace KivGuiBase::Platform
