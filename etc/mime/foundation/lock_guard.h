#pragma once

#include "kivgui/host/event.h"
#include "kivgui/host/lock.h"

namespace MIME {

/// Holds a timed lock for as long as it lives.
///
/// The thread that holds the lock may lock it again. The guard keeps the lock's statistics when the
/// lock asks for them. When the hold lasted longer than the threshold, it reports the event "Lock
/// duration exceeded threshold" after the lock is released.
class LockGuard {
public:
    /// @param site  the name of the locking place in statistics and events.
    LockGuard(KivGuiBase::TimedCriticalSection& lock, const KivGuiBase::AnsiStr& site) noexcept;
    ~LockGuard();
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    void AcquireWithStatistics(const KivGuiBase::AnsiStr& site) noexcept;
    KivGuiBase::EventDetails FinishHold() noexcept;

    KivGuiBase::TimedCriticalSection& lock_;
};

}  // namespace MIME
