#include "kivgui/particle.h"

#include <cstdlib>

namespace KivGuiBase {

void* AllocParticle(size_t size) noexcept {
    return std::malloc(size != 0 ? size : 1);
}

// The C library's allocator keeps size classes of its own, so the size is not needed to find
// the block; it stays in the interface because a pool would need it.
void FreeParticle(size_t /*size*/, void* block) noexcept {
    std::free(block);
}

}  // namespace KivGuiBase
