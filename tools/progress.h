#pragma once

#include <chrono>
#include <cstdint>

namespace Tool {

/// One line on the terminal that says how much has been written, for writing that takes longer than a
/// second. Nothing when standard error is no terminal. The line is removed with the object.
class Progress {
public:
    /// @param isShown  what is written goes to standard output; where that is the terminal, there is
    ///                 no line.
    explicit Progress(bool isShown);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Add(uint64_t size);

private:
    using Clock = std::chrono::steady_clock;

    const bool isWanted_;
    Clock::time_point next_ = Clock::now() + std::chrono::seconds(1);
    uint64_t written_ = 0;
    bool hasPrinted_ = false;
};

}  // namespace Tool
