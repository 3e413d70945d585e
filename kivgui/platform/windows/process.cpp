#include "kivgui/platform/windows/system.h"

#include <bcrypt.h>
#include <algorithm>
#include <atomic>

#include "kivgui/platform/platform.h"

// Data of threads. There is no thread_local here: the compiler's implementation leaks the memory of
// every thread that outlives the module, and one of the process's 1,088 thread-local places at each
// load. The system's fiber storage frees both.

namespace KivGuiBase::Platform {

namespace {

constinit std::atomic<DWORD> storage{FLS_OUT_OF_INDEXES};
constinit std::atomic<bool> isFreed{false};

void WINAPI FreeOne(void* data) {
    HeapFree(GetProcessHeap(), 0, data);
}

DWORD GetStorage() noexcept {
    const DWORD known = storage.load();
    if (known != FLS_OUT_OF_INDEXES || isFreed.load()) return known;
    const DWORD made = FlsAlloc(&FreeOne);
    DWORD before = FLS_OUT_OF_INDEXES;
    if (storage.compare_exchange_strong(before, made)) return made;
    FlsFree(made);  // another thread was faster
    return before;
}

ThreadData* MakeThreadData(DWORD index) noexcept {
    void* const data = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(ThreadData));
    if (data == nullptr || FlsSetValue(index, data)) return static_cast<ThreadData*>(data);
    HeapFree(GetProcessHeap(), 0, data);
    return nullptr;
}

}  // namespace

bool FillRandom(void* buffer, size_t size) noexcept {
    LastErrorKept kept;
    constexpr size_t kMaxRequest = 0x40000000;  // a request's size has 32 bits
    auto* next = static_cast<unsigned char*>(buffer);
    while (size > 0) {
        const size_t part = std::min(size, kMaxRequest);
        if (BCryptGenRandom(nullptr, next, static_cast<ULONG>(part),
                            BCRYPT_USE_SYSTEM_PREFERRED_RNG) < 0) {
            return kept.Fail(kErrorGeneralFailure);
        }
        next += part;
        size -= part;
    }
    return true;
}

uint64_t GetProcessGeneration() noexcept {
    return 1;
}

ThreadData& GetThreadData() noexcept {
    static constinit ThreadData lastResort{};  // when memory ran out, or the module has ended
    const LastErrorKept kept;                  // the functions of the storage reset it
    ThreadData* data = nullptr;
    const DWORD index = GetStorage();
    if (index != FLS_OUT_OF_INDEXES) {
        data = static_cast<ThreadData*>(FlsGetValue(index));
        if (data == nullptr) data = MakeThreadData(index);
    }
    return data != nullptr ? *data : lastResort;
}

uint32_t GetThreadError() noexcept {
    return ::GetLastError();
}

void SetThreadError(uint32_t code) noexcept {
    ::SetLastError(code);
}

void FreeThreadData() noexcept {
    isFreed.store(true);
    const DWORD index = storage.exchange(FLS_OUT_OF_INDEXES);
    if (index != FLS_OUT_OF_INDEXES) FlsFree(index);
}

}  // namespace KivGuiBase::Platform
