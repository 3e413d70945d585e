#pragma once

#include <atomic>
#include <thread>

namespace MIME::Test {

/// Opens when it has been passed a number of times. In the place of std::latch, whose wait, one time in a
/// few thousand, never returned under Wine; and threads that spin start closer together.
class Gate {
public:
    explicit Gate(unsigned count) : missing_(count) {}

    void Count() { --missing_; }
    void Wait() const {
        while (missing_ != 0) std::this_thread::yield();
    }
    void CountAndWait() {
        Count();
        Wait();
    }

private:
    std::atomic<unsigned> missing_;
};

}  // namespace MIME::Test
