#include "kivgui/kernels/cpu.h"

#include <atomic>

namespace KivGuiBase::Kernels {

namespace {

std::atomic<bool> isPortableForced = false;

}  // namespace

bool HasAvx2() noexcept {
#if defined(KIV_HAS_AVX2_FORMS)
    return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
           __builtin_cpu_supports("popcnt") != 0 &&
           !isPortableForced.load(std::memory_order_relaxed);
#else
    return false;
#endif
}

void ForcePortable(bool isForced) noexcept {
    isPortableForced.store(isForced, std::memory_order_relaxed);
}

}  // namespace KivGuiBase::Kernels
