#include "kivgui/host/module.h"

#include <atomic>
#include <mutex>

#include "kivgui/host/lock.h"
#include "kivgui/platform/platform.h"

namespace KivGuiBase {

namespace {

constinit std::atomic<unsigned> initializerCount{0};

std::recursive_mutex& GetInitSection() {
    static std::recursive_mutex section;
    return section;
}

}  // namespace

BaseInitializer::BaseInitializer() noexcept {
    ++initializerCount;
}

BaseInitializer::~BaseInitializer() {
    if (--initializerCount != 0) return;
    ResetLazyStaticLock();
    Platform::FreeThreadData();
}

void EnterInitSection() noexcept {
    GetInitSection().lock();
}

void LeaveInitSection() noexcept {
    GetInitSection().unlock();
}

}  // namespace KivGuiBase
