#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "kivgui/error.h"

namespace KivGuiBase {

/// What the base layer keeps for each thread, all zero at first.
///
/// Invariant: nothing here needs a destructor. A destructor that runs when its thread ends would
/// either keep the module in the process after the host has unloaded it, or be called after the
/// module is gone.
struct ThreadData {
    struct Message {
        char text[kMaxErrorMessage];
        unsigned length;
    };
    struct RandomPool {
        static constexpr size_t kSize = 512;
        unsigned char bytes[kSize];
        size_t left;  ///< bytes not given out yet, at the end
        uint64_t processGeneration;
    };

    uint32_t id;                 ///< of GetCurrentThreadId; 0 until its first call
    uint32_t lastError;          ///< where the system has none of its own
    uint32_t failedAllocations;  ///< of MemoryWatch; may wrap
    Message message;
    RandomPool randomPool;
    uint64_t pseudoRandomState;
    bool isSeeded;
};
static_assert(std::is_trivial_v<ThreadData>);

}  // namespace KivGuiBase
