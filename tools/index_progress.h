#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>

#include "index_resume.h"
#include "inputs.h"

namespace Tool {

/// A line on the terminal: how many messages are done, how many a second, and how long the rest will take.
/// Nothing when standard error is no terminal. The line is removed with the object. One thread at a time.
class IndexProgress {
public:
    /// Begins to add up the sizes of all files, on a thread of its own.
    /// @param isShown  the records go to standard output; where that is the terminal, there is no line.
    IndexProgress(const Sources& sources, const DoneRecords& done, bool isShown);
    ~IndexProgress();
    IndexProgress(const IndexProgress&) = delete;
    IndexProgress& operator=(const IndexProgress&) = delete;

    void Add(uint64_t messages, uint64_t bytes);

private:
    using Clock = std::chrono::steady_clock;

    void MeasureFiles();
    std::string MakeLine(double seconds) const;

    const Sources& sources_;
    const DoneRecords& done_;
    const bool isWanted_;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point next_ = start_ + std::chrono::seconds(1);
    uint64_t messages_ = 0;
    uint64_t bytes_ = 0;
    bool hasPrinted_ = false;
    std::atomic<uint64_t> totalBytes_ = 0;  ///< 0 until it is known
    std::atomic<bool> isEnding_ = false;
    std::thread measuring_;
};

}  // namespace Tool
