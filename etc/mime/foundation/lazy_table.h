#pragma once

#include <atomic>
#include <new>

#include "kivgui/kivgui.h"
#include "mime/foundation/lock_guard.h"

namespace MIME {

/// A constant table that is built once, by the first thread that asks for it, and then read by
/// any thread without a lock. Make it at namespace scope with `constinit`, and an Emptier beside
/// it.
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

    /// Empties a table when the module is unloaded. Lookups after that find nothing; the map
    /// object itself and its published pointer stay, so they are still safe.
    class Emptier {
    public:
        constexpr explicit Emptier(LazyTable& table) noexcept : table_(table) {}
        ~Emptier() {
            if (Map* map = table_.published_.load(std::memory_order_acquire)) map->Clear();
        }
        Emptier(const Emptier&) = delete;
        Emptier& operator=(const Emptier&) = delete;

    private:
        LazyTable& table_;
    };

private:
    const Map& Build() noexcept {
        const LockGuard guard(KivGuiBase::GetLazyStaticLock(), site_);
        if (const Map* map = published_.load(std::memory_order_relaxed)) return *map;
        Map* map = new (std::nothrow) Map;
        if (map == nullptr) KivGuiBase::DebugAbort("%s: not enough memory", site_);
        fill_(*map);
        published_.store(map, std::memory_order_release);
        return *map;
    }

    const char* site_;
    Fill fill_;
    std::atomic<Map*> published_{nullptr};
};

}  // namespace MIME
