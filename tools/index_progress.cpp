#include "index_progress.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "files.h"
#include "mailbox_walk.h"
#include "platform/system.h"

namespace Tool {

namespace {

/// "12,345"
std::string FormatNumber(uint64_t number) {
    std::string text = std::to_string(number);
    for (size_t i = text.size(); i > 3;) text.insert(i -= 3, 1, ',');
    return text;
}

/// "1:02:03" or "2:03"
std::string FormatTime(double seconds) {
    const auto whole = static_cast<unsigned long long>(seconds);
    char text[48];
    if (whole >= 3600) {
        std::snprintf(text, sizeof text, "%llu:%02llu:%02llu", whole / 3600, whole / 60 % 60,
                      whole % 60);
    } else {
        std::snprintf(text, sizeof text, "%llu:%02llu", whole / 60, whole % 60);
    }
    return text;
}

}  // namespace

IndexProgress::IndexProgress(const Sources& sources, const DoneRecords& done, bool isShown)
    : sources_(sources),
      done_(done),
      isWanted_(System::IsTerminal(stderr) && !(isShown && System::IsTerminal(stdout))) {
    if (isWanted_) measuring_ = std::thread([this] { MeasureFiles(); });
}

IndexProgress::~IndexProgress() {
    isEnding_ = true;
    if (measuring_.joinable()) measuring_.join();
    if (hasPrinted_) std::fputs("\r\x1B[K", stderr);
}

void IndexProgress::MeasureFiles() {
    uint64_t total = 0;
    MailboxWalk walk(sources_);
    while (const auto file = walk.Next()) {
        if (isEnding_) return;
        if (!done_.IsEmpty() && done_.Has(file->path, 0)) continue;
        std::error_code error;
        const auto size = std::filesystem::file_size(ToPath(file->path), error);
        if (!error) total += size;
    }
    totalBytes_ = total;
}

std::string IndexProgress::MakeLine(double seconds) const {
    const double rate = static_cast<double>(messages_) / seconds;
    std::string line = FormatNumber(messages_) + " messages, " +
                       FormatNumber(static_cast<uint64_t>(rate)) + " a second";
    const uint64_t total = totalBytes_;
    if (total > bytes_ && bytes_ != 0) {
        const double left = static_cast<double>(total - bytes_) / static_cast<double>(bytes_);
        line += ", " + FormatTime(seconds * left) + " left";
    }
    return line;
}

void IndexProgress::Add(uint64_t messages, uint64_t bytes) {
    constexpr std::chrono::milliseconds kPause(200);
    messages_ += messages;
    bytes_ += bytes;
    if (!isWanted_ || Clock::now() < next_) return;
    next_ = Clock::now() + kPause;
    hasPrinted_ = true;
    const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
    std::fprintf(stderr, "\r%s\x1B[K", MakeLine(seconds).c_str());
}

}  // namespace Tool
