#include "kivgui/platform/windows/system.h"

#include <atomic>

#include "kivgui/platform/platform.h"

// No thread_local here: what the compiler makes of it loses the memory of all threads that live on
// when the module is unloaded, and one of the process's 1,088 places for it at every load. The
// system's fiber storage gives both back.

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

ThreadData& GetThreadData() noexcept {
    static constinit ThreadData lastResort{};    // without memory, or after the module's end
    const DWORD systemError = ::GetLastError();  // which the storage's functions reset
    ThreadData* data = nullptr;
    const DWORD index = GetStorage();
    if (index != FLS_OUT_OF_INDEXES) {
        data = static_cast<ThreadData*>(FlsGetValue(index));
        if (data == nullptr) data = MakeThreadData(index);
    }
    ::SetLastError(systemError);
    return data != nullptr ? *data : lastResort;
}

void FreeThreadData() noexcept {
    isFreed.store(true);
    const DWORD index = storage.exchange(FLS_OUT_OF_INDEXES);
    if (index != FLS_OUT_OF_INDEXES) FlsFree(index);
}

}  // namespace KivGuiBase::Platform
