#include <pthread.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>

#include "kivgui/platform/platform.h"
#include "kivgui/platform/posix/errors.h"

namespace KivGuiBase::Platform {

namespace {

std::atomic<uint64_t> processGeneration{1};

void NoteFork() {
    processGeneration.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

bool FillRandom(void* buffer, size_t size) noexcept {
    constexpr size_t kMaxRequest = 256;  // getentropy gives no more at once
    char* next = static_cast<char*>(buffer);
    while (size > 0) {
        const size_t part = size < kMaxRequest ? size : kMaxRequest;
        if (getentropy(next, part) != 0) {
            SetLastErrorFromErrno(errno);
            return false;
        }
        next += part;
        size -= part;
    }
    return true;
}

uint64_t GetProcessGeneration() noexcept {
    static const int registered = pthread_atfork(nullptr, nullptr, NoteFork);
    (void)registered;
    return processGeneration.load(std::memory_order_relaxed);
}

}  // namespace KivGuiBase::Platform
