#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// What hostile_shapes measures with: texts whose size costs no memory, and counts of what a
/// reading took. Linux with glibc.
namespace Hostile {

/// A text that is mapped, so that the pages of it that were read can be counted. Long runs of one
/// character share their pages: 4 GiB of them take 2 MiB.
class Text {
public:
    Text() = default;
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text();

    Text& Add(std::string_view text);
    Text& Add(char c, uint64_t count);

    /// The whole text; nothing may be added afterwards. Empty when it cannot be mapped.
    std::string_view Map();
    /// Bytes of the text that have been read, in whole pages; the system may round up to 64 KiB.
    uint64_t CountTouched() const;

private:
    struct Segment {
        int file;
        uint64_t size;
    };

    bool FlushTail();
    void AddShared(char c, uint64_t size);

    std::string tail_;  ///< not in a segment yet
    std::vector<Segment> segments_;
    char* begin_ = nullptr;
    uint64_t size_ = 0;
    uint64_t mapped_ = 0;
};

/// What the process took from malloc and new since the last call of StartCounting.
struct Counts {
    uint64_t allocations = 0;
    uint64_t allocated = 0;  ///< bytes asked for
    int64_t peak = 0;        ///< the most bytes at a time
    int64_t left = 0;        ///< bytes that have not been given back
};
void StartCounting() noexcept;
Counts GetCounts() noexcept;

/// Makes callgrind, when the process runs in it, count the instructions in between, and write them
/// with the name. Does nothing elsewhere.
void StartInstructions() noexcept;
void StopInstructions(const std::string& name) noexcept;

/// Memory that the system could give now, in bytes.
uint64_t GetAvailableMemory();

}  // namespace Hostile
