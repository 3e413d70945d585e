#include "hostile_meter.h"

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_START_INSTRUMENTATION static_cast<void>(0)
#define CALLGRIND_STOP_INSTRUMENTATION static_cast<void>(0)
#define CALLGRIND_ZERO_STATS static_cast<void>(0)
#define CALLGRIND_DUMP_STATS_AT(name) static_cast<void>(name)
#endif

// --------------------------------------------------------------------------------- the counts --

// The C library's own functions under their other names: ours replace them for the whole process,
// shared libraries included.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);
}

namespace {

Hostile::Counts counts;

void* CountNew(void* block, size_t size) noexcept {
    if (block == nullptr) return block;
    ++counts.allocations;
    counts.allocated += size;
    counts.left += static_cast<int64_t>(malloc_usable_size(block));
    counts.peak = std::max(counts.peak, counts.left);
    return block;
}

void CountFreed(void* block) noexcept {
    counts.left -= static_cast<int64_t>(malloc_usable_size(block));
}

}  // namespace

extern "C" {

void* malloc(size_t size) {
    return CountNew(__libc_malloc(size), size);
}

void* calloc(size_t count, size_t size) {
    return CountNew(__libc_calloc(count, size), count * size);
}

void* realloc(void* block, size_t size) {
    const auto before = static_cast<int64_t>(malloc_usable_size(block));
    void* const result = __libc_realloc(block, size);
    if (result != nullptr || size == 0) counts.left -= before;
    return CountNew(result, size);
}

void free(void* block) {
    if (block != nullptr) CountFreed(block);
    __libc_free(block);
}

}  // extern "C"

namespace Hostile {

void StartCounting() noexcept {
    counts = {};
}

Counts GetCounts() noexcept {
    return counts;
}

void StartInstructions() noexcept {
    CALLGRIND_START_INSTRUMENTATION;
    CALLGRIND_ZERO_STATS;
}

void StopInstructions(const std::string& name) noexcept {
    CALLGRIND_DUMP_STATS_AT(name.c_str());
    CALLGRIND_STOP_INSTRUMENTATION;
}

uint64_t GetAvailableMemory() {
    std::ifstream info("/proc/meminfo");
    for (std::string line; std::getline(info, line);) {
        if (line.starts_with("MemAvailable:")) {
            return std::strtoull(line.c_str() + line.find(':') + 1, nullptr, 10) * 1024;
        }
    }
    return 0;
}

// ---------------------------------------------------------------------------------- the texts --

namespace {

constexpr uint64_t kChunk = 0x200000;  // of shared pages; a multiple of the page's size
constexpr uint64_t kPage = 0x1000;

/// A new file in memory with the content; -1 on failure.
int MakeFile(std::string_view content) {
    const int file = memfd_create("text", MFD_CLOEXEC);
    while (file >= 0 && !content.empty()) {
        const ssize_t written = write(file, content.data(), content.size());
        if (written <= 0) return -1;
        content.remove_prefix(static_cast<size_t>(written));
    }
    return file;
}

}  // namespace

Text::~Text() {
    if (begin_ != nullptr) munmap(begin_, mapped_);
    int last = -1;
    for (const Segment& segment : segments_) {
        if (segment.file != last) close(segment.file);
        last = segment.file;
    }
}

Text& Text::Add(std::string_view text) {
    tail_ += text;
    size_ += text.size();
    return *this;
}

Text& Text::Add(char c, uint64_t count) {
    size_ += count;
    // Segments begin at pages.
    const uint64_t own = std::min(count, (kPage - tail_.size() % kPage) % kPage);
    tail_.append(own, c);
    count -= own;
    const uint64_t shared = count / kChunk * kChunk;
    if (shared > 0 && FlushTail()) AddShared(c, shared);
    tail_.append(count - shared, c);
    return *this;
}

bool Text::FlushTail() {
    if (!tail_.empty()) segments_.push_back({MakeFile(tail_), tail_.size()});
    tail_ = std::string();
    return true;
}

void Text::AddShared(char c, uint64_t size) {
    const int file = MakeFile(std::string(kChunk, c));
    for (; size > 0; size -= kChunk) segments_.push_back({file, kChunk});
}

std::string_view Text::Map() {
    FlushTail();
    mapped_ = (size_ + kPage - 1) / kPage * kPage;
    void* const place =
        mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (place == MAP_FAILED) return {};
    begin_ = static_cast<char*>(place);
    char* next = begin_;
    for (const Segment& segment : segments_) {
        const void* const mapped =
            mmap(next, segment.size, PROT_READ, MAP_SHARED | MAP_FIXED, segment.file, 0);
        if (segment.file < 0 || mapped == MAP_FAILED) return {};
        next += segment.size;
    }
    return {begin_, size_};
}

uint64_t Text::CountTouched() const {
    const auto begin = reinterpret_cast<uintptr_t>(begin_);
    uint64_t touched = 0;
    bool isInside = false;
    std::ifstream maps("/proc/self/smaps");
    for (std::string line; std::getline(maps, line);) {
        unsigned long long from = 0;
        unsigned long long to = 0;
        if (std::sscanf(line.c_str(), "%llx-%llx", &from, &to) == 2) {
            isInside = from >= begin && from < begin + mapped_;
        } else if (isInside && line.starts_with("Rss:")) {
            touched += std::strtoull(line.c_str() + 4, nullptr, 10) * 1024;
        }
    }
    return touched;
}

}  // namespace Hostile
