#include "progress.h"

#include <cstdio>

#include "platform/system.h"

namespace Tool {

Progress::Progress(bool isShown)
    : isWanted_(System::IsTerminal(stderr) && !(isShown && System::IsTerminal(stdout))) {}

Progress::~Progress() {
    if (hasPrinted_) std::fputs("\r                                        \r", stderr);
}

void Progress::Add(uint64_t size) {
    constexpr std::chrono::milliseconds kPause(200);
    constexpr uint64_t kMegabyte = 1'000'000;
    written_ += size;
    if (!isWanted_ || Clock::now() < next_) return;
    next_ = Clock::now() + kPause;
    hasPrinted_ = true;
    std::fprintf(stderr, "\r%llu MB written",
                 static_cast<unsigned long long>(written_ / kMegabyte));
}

}  // namespace Tool
