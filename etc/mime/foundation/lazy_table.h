#pragma once

#include <atomic>
#include <cstddef>
#include <new>

#include "kivgui/host/lock.h"
#include "kivgui/memory.h"
#include "mime/foundation/lock_guard.h"

namespace MIME {

/// A constant table that is built once, by the first thread that asks for it, and then read by any
/// thread without a lock. Define it at namespace scope with `constinit`; the end of the module calls
/// Empty. When memory runs out while it is built, that caller gets an empty table, and the next one
/// builds it again.
template <class Map>
class LazyTable {
public:
    using Fill = void (*)(Map& map);

    /// @param site  names the table in the statistics of the lock under which it is built.
    constexpr LazyTable(const char* site, Fill fill) noexcept : site_(site), fill_(fill) {}
    LazyTable(const LazyTable&) = delete;
    LazyTable& operator=(const LazyTable&) = delete;

    const Map& Get() noexcept {
        const Map* map = published_.load(std::memory_order_acquire);
        return map != nullptr ? *map : Build();
    }

    /// Frees the rows, if the table was built. Later lookups are safe: they find nothing and do not
    /// build the table. No other thread may read the table meanwhile.
    void Empty() noexcept {
        if (Map* map = published_.load(std::memory_order_acquire)) return map->Clear();
        // No lock: at the end of a process it may be held by a thread that no longer exists.
        published_.store(MakeMap(), std::memory_order_release);
    }

private:
    const Map& Build() noexcept {
        const KivGuiBase::MemoryWatch watch;
        const LockGuard guard(KivGuiBase::GetLazyStaticLock(), site_);
        if (const Map* map = published_.load(std::memory_order_relaxed)) return *map;
        Map* map = MakeMap();
        fill_(*map);
        if (watch.HasFailed()) {
            map->~Map();
            return GetNone();
        }
        published_.store(map, std::memory_order_release);
        return *map;
    }

    static const Map& GetNone() noexcept {
        alignas(Map) static std::byte memory[sizeof(Map)];
        static const Map* const none = new (memory) Map;
        return *none;
    }

    Map* MakeMap() noexcept { return new (memory_) Map; }

    const char* site_;
    Fill fill_;
    std::atomic<Map*> published_{nullptr};
    // No destructor runs for the map, so it can be searched until the very end of the process.
    alignas(Map) std::byte memory_[sizeof(Map)]{};
};

}  // namespace MIME
