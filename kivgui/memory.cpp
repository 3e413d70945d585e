#include "kivgui/memory.h"

#include <cstdlib>

#include "kivgui/error.h"
#include "kivgui/platform/platform.h"

namespace KivGuiBase {

void NoteMissingMemory() noexcept {
    ++Platform::GetThreadData().failedAllocations;
    SetLastError(kErrorNotEnoughMemory);
}

uint32_t MemoryWatch::CountFailures() noexcept {
    return Platform::GetThreadData().failedAllocations;
}

void* Allocate(size_t size) noexcept {
    void* const block = std::malloc(size != 0 ? size : 1);
    if (block == nullptr) NoteMissingMemory();
    return block;
}

void* Reallocate(void* block, size_t size) noexcept {
    void* const result = std::realloc(block, size != 0 ? size : 1);
    if (result == nullptr) NoteMissingMemory();
    return result;
}

void UseLargePages(void* block, size_t size) noexcept {
    constexpr size_t kPage = 0x200000;
    constexpr size_t kWorthwhile = 2 * kPage;
    if (size < kWorthwhile) return;
    char* const begin = static_cast<char*>(block);
    const size_t before = (kPage - reinterpret_cast<uintptr_t>(begin) % kPage) % kPage;
    Platform::UseLargePages(begin + before, (size - before) / kPage * kPage);
}

void* AllocParticle(size_t size) noexcept {
    return Allocate(size);
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
