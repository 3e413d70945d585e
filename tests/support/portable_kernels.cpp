#include <cstdlib>

#include "kivgui/kernels/cpu.h"

// With KIVMIME_PORTABLE_KERNELS in the environment all tests run as on a processor without AVX2.

namespace {

[[maybe_unused]] const bool kIsForced = [] {
    const bool isForced = std::getenv("KIVMIME_PORTABLE_KERNELS") != nullptr;
    KivGuiBase::Kernels::ForcePortable(isForced);
    return isForced;
}();

}  // namespace
