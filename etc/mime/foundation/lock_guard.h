#pragma once

#include "kivgui/host/event.h"
#include "kivgui/host/lock.h"

namespace MIME {

/// Holds a timed lock for as long as it lives.
///
/// The lock is re-entrant for the thread that holds it. The guard keeps the lock's statistics
/// when the lock asks for them, and reports the event "Lock duration exceeded threshold" after it
/// has left the lock, when the hold lasted longer than the threshold.
class LockGuard {
public:
    /// @param site  names the place that takes the lock, in statistics and events.
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
