#include "kivgui/platform/platform.h"

namespace KivGuiBase::Platform {

ThreadData& GetThreadData() noexcept {
    thread_local constinit ThreadData data{};
    return data;
}

// The system's loader does that.
void FreeThreadData() noexcept {}

}  // namespace KivGuiBase::Platform
