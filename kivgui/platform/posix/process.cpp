#include <pthread.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>

#include "kivgui/platform/platform.h"
#include "kivgui/platform/posix/system.h"

namespace KivGuiBase::Platform {

namespace {

std::atomic<uint64_t> processGeneration{1};

void CountFork() {
    processGeneration.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

bool FillRandom(void* buffer, size_t size) noexcept {
    constexpr size_t kMaxRequest = 256;  // getentropy gives no more at once
    char* next = static_cast<char*>(buffer);
    while (size > 0) {
        const size_t part = std::min(size, kMaxRequest);
        if (getentropy(next, part) != 0) return FailWithSystemError();
        next += part;
        size -= part;
    }
    return true;
}

uint64_t GetProcessGeneration() noexcept {
    static const int registered = pthread_atfork(nullptr, nullptr, CountFork);
    (void)registered;
    return processGeneration.load(std::memory_order_relaxed);
}

ThreadData& GetThreadData() noexcept {
    thread_local constinit ThreadData data{};
    return data;
}

uint32_t GetThreadError() noexcept {
    return GetThreadData().lastError;
}

void SetThreadError(uint32_t code) noexcept {
    GetThreadData().lastError = code;
}

// The system's loader frees them.
void FreeThreadData() noexcept {}

}  // namespace KivGuiBase::Platform
