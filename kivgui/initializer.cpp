#include "kivgui/initializer.h"

#include <atomic>
#include <mutex>

#include "kivgui/lock.h"
#include "kivgui/platform/platform.h"
#include "kivgui/trace.h"

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
    KivGuiTrace::Record("BaseInitializer");
}

BaseInitializer::~BaseInitializer() {
    KivGuiTrace::Record("~BaseInitializer");
    if (--initializerCount != 0) return;
    ResetLazyStaticLock();
    Platform::FreeThreadData();
}

void EnterInitSection() noexcept {
    GetInitSection().lock();
    KivGuiTrace::Record("EnterInitSection");
}

void LeaveInitSection() noexcept {
    KivGuiTrace::Record("LeaveInitSection");
    GetInitSection().unlock();
}

}  // namespace KivGuiBase
