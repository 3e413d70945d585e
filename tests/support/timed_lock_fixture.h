#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "kivgui/kivgui.h"

namespace MIME::Test {

/// A test that sets the clock and sees the events of the library; both are back to normal
/// afterwards, and so is the hold threshold.
class TimedLockFixture : public testing::Test {
public:
    static constexpr uint64_t kMillisecond = 1'000'000;  // ticks of the clock

protected:
    TimedLockFixture() {
        now_ = 1;
        readings_ = 0;
        events_.clear();
        KivGuiBase::SetClockSource([] {
            ++readings_;
            return now_.load();
        });
        KivGuiBase::SetEventHandler(&Take);
    }
    ~TimedLockFixture() override {
        KivGuiBase::SetClockSource(nullptr);
        KivGuiBase::SetEventHandler(nullptr);
        KivGuiBase::LockInfo::SetUnknownCriticalSectionThreshold(0);
        watched_ = nullptr;
    }

    static void Pass(uint64_t ticks) { now_ += ticks; }

    static inline std::atomic<uint64_t> now_;
    static inline std::atomic<unsigned> readings_;  ///< how often the clock was read
    /// The events so far: "source id text type category: key=value;...".
    static inline std::vector<std::string> events_;
    /// A lock that no event may be reported under.
    static inline KivGuiBase::TimedCriticalSection* watched_ = nullptr;

private:
    static bool Take(const KivGuiBase::AnsiStr& source, unsigned id,
                     const KivGuiBase::AnsiStr& text, const KivGuiBase::EventDetails& details,
                     KivGuiBase::ReportEventType type, KivGuiBase::ReportEventCategory category) {
        if (watched_ != nullptr) {
            EXPECT_EQ(watched_->owner.load(), 0u);
            const bool isFree = watched_->section.try_lock();
            EXPECT_TRUE(isFree) << "an event under the lock";
            if (isFree) watched_->section.unlock();
        }
        std::string event = std::string(source) + " " + std::to_string(id) + " " +
                            std::string(text) + " " + std::to_string(static_cast<unsigned>(type)) +
                            " " + std::to_string(static_cast<unsigned>(category)) + ":";
        for (unsigned i = 0; i < details.GetCount(); ++i) {
            const KivGuiBase::Val& value = details.GetValue(i);
            event += " " + std::string(details.GetKey(i)) + "=";
            event += value.GetType() == KivGuiBase::Val::kString
                         ? std::string(value.GetString())
                         : std::to_string(value.GetInteger());
        }
        events_.push_back(event);
        return true;
    }
};

}  // namespace MIME::Test
