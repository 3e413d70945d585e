#include "kivgui/particle.h"

#include <cstdlib>

#include "kivgui/error.h"

namespace KivGuiBase {

void* AllocParticle(size_t size) noexcept {
    return std::malloc(size != 0 ? size : 1);
}

// The C library's allocator finds the block without its size.
void FreeParticle(size_t /*size*/, void* block) noexcept {
    std::free(block);
}

void ReportArrayOverflow(unsigned /*count*/, unsigned /*added*/) noexcept {
    SetLastError(kErrorStringOverflow);
}

void ReportArrayAllocFail(unsigned /*capacity*/, unsigned /*count*/) noexcept {
    SetLastError(kErrorOutOfMemory);
}

}  // namespace KivGuiBase
