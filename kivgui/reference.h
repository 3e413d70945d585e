#pragma once

#include <atomic>
#include <cstdint>

#include "kivgui/error.h"

namespace KivGuiBase {

/// The count at the start of every shared body. It starts at 1, for the handle that made the body,
/// and is changed only atomically, so handles to one body may be used on different threads. A body
/// with a count of 2 or more is never written to.
class Reference {
public:
    void Link() noexcept {
        const int32_t count = count_.fetch_add(1) + 1;
        if (count < 2) {
            DebugAbort("Reference::Link: %p: Invalid reference count (%d)",
                       static_cast<void*>(this), count);
        }
    }

    /// @return true when this was the last reference and the caller must free the body.
    [[nodiscard]] bool Unlink() noexcept {
        const int32_t count = count_.fetch_sub(1) - 1;
        if (count < 0) {
            DebugAbort("Reference::Unlink: %p: Invalid reference count (%d)",
                       static_cast<void*>(this), count);
        }
        return count == 0;
    }

    bool IsShared() const noexcept { return count_.load() >= 2; }

private:
    std::atomic<int32_t> count_{1};
};

}  // namespace KivGuiBase
