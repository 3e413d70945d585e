#include "kivgui/trace.h"

#include <algorithm>
#include <atomic>
#include <iterator>

namespace KivGuiTrace {

namespace {

// Initialised by the compiler: the first calls come before any constructor of this file could run.
constinit std::atomic<Recorder> installed{nullptr};
constinit std::atomic<const char*> startCalls[16]{};
constinit std::atomic<unsigned> startCallCount{0};

}  // namespace

void SetRecorder(Recorder recorder) noexcept {
    if (recorder != nullptr) {
        const unsigned count =
            std::min<unsigned>(startCallCount.load(), unsigned{std::size(startCalls)});
        for (unsigned i = 0; i < count; ++i) {
            if (const char* call = startCalls[i].load()) recorder(call);
        }
    }
    installed.store(recorder);
}

void Record(const char* call) noexcept {
    if (const Recorder recorder = installed.load()) return recorder(call);
    // Threads come and go for as long as nobody listens: the count stops behind the last place.
    if (startCallCount.load() >= std::size(startCalls)) return;
    const unsigned place = startCallCount.fetch_add(1);
    if (place < std::size(startCalls)) startCalls[place].store(call);
}

void TraceStartup() noexcept {
    Record("TraceStartup");
}

}  // namespace KivGuiTrace
