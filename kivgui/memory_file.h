#pragma once

#include <cstdint>
#include <string_view>

#include "kivgui/disk_file.h"
#include "kivgui/export.h"
#include "kivgui/file.h"

namespace KivGuiBase {

/// A whole file in memory, to read or to write.
///
/// For reading, a file below 4 MiB is read into a buffer: what happens to the file later has no
/// effect, and a file that shrinks meanwhile gives a shorter text. A larger file is mapped; while
/// the view is open nobody may truncate it, or reading past its new end raises the system's signal
/// (SIGBUS).
/// For writing, the content is collected in a buffer and written with one call when the view is
/// closed. One thread at a time.
class KIV_EXPORT MemoryFile {
public:
    enum class Mode : unsigned {
        read = 0,
        create = 1,     ///< created when absent, emptied when present
        createNew = 2,  ///< created, accessible to its owner only; fails when the name exists
    };

    /// Files of at least this size are mapped.
    static constexpr uint64_t kMapSize = 0x400000;

    MemoryFile() noexcept = default;
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { Close(); }

    /// Closes any open view and opens another. A file of 0 bytes is opened like any other.
    /// @return false, with the last error set, when the file cannot be opened, read or created, or
    ///         is not a plain file.
    bool Open(const File& file, Mode mode) noexcept;
    /// Opens a view for reading of a file that is open already and has not been read from. The
    /// view does not need `source` afterwards.
    bool Open(DiskFile& source) noexcept;

    /// Makes room in a writable view for `added` bytes after `used` ones.
    /// @return false when memory runs out or the sum passes 64 bits; the view is unchanged.
    bool Extend(uint64_t added, uint64_t used) noexcept;

    /// Writes the content of a writable view and moves the open file to `target`, which continues
    /// at its end; the view is then closed.
    /// @return false, with the last error set, when the content could not be written; `target` then
    ///         has the file as well, but its writes fail.
    bool MoveTo(DiskFile& target) noexcept;

    /// Closes the view; the content of a writable one is written up to the write cursor. A second
    /// call is harmless. @return false, with the last error set, when the content could not be
    /// written.
    bool Close() noexcept;

    /// The content; null while nothing is open or there is no byte.
    const char* GetData() const noexcept { return start_; }
    /// Bytes of content: up to the write cursor of a writable view, otherwise the whole file.
    uint64_t GetSize() const noexcept { return writable_ ? GetUsed() : length_; }

    bool IsMapped() const noexcept { return mapped_; }
    /// Returns the memory of a part of a mapped file to the system. It is read from the file again
    /// on the next access. Any thread. Does nothing on Windows.
    static void Release(std::string_view part) noexcept;

    /// For a writable view (IsWritable): GetUsed is the number of bytes written so far,
    /// GetMappedLength the number that fits without Extend, GetCursor the place of the next byte;
    /// Advance moves the write cursor past bytes that were put there.
    bool IsWritable() const noexcept { return writable_; }
    uint64_t GetUsed() const noexcept { return used_; }
    uint64_t GetMappedLength() const noexcept { return length_; }
    char* GetCursor() noexcept { return start_ + used_; }
    void Advance(uint64_t size) noexcept { used_ += size; }

private:
    bool Create(const File& file, Mode mode) noexcept;
    bool Map(const DiskFile& source, uint64_t size) noexcept;
    bool ReadWhole(DiskFile& source, unsigned size) noexcept;
    bool WriteOut() noexcept;
    void Forget() noexcept;

    char* start_ = nullptr;
    uint64_t used_ = 0;
    uint64_t length_ = 0;
    bool writable_ = false;
    bool mapped_ = false;
    Platform::FileHandle handle_ = Platform::kInvalidFile;
};

}  // namespace KivGuiBase
