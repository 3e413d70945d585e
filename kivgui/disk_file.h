#pragma once

#include <cstdint>

#include "kivgui/export.h"
#include "kivgui/file.h"

namespace KivGuiBase {

/// An open file with sequential reads and buffered sequential writes. One thread at a time.
class KIV_EXPORT DiskFile {
public:
    enum class Mode : unsigned {
        read = 1,
        create = 2,     ///< created when absent, emptied when present; follows links
        createNew = 3,  ///< created, accessible to its owner only; fails when the name exists
    };

    /// Small writes are collected in a buffer of this size; a larger one is passed to the system
    /// directly.
    static constexpr unsigned kBufferSize = 0x20000;

    DiskFile() noexcept = default;
    DiskFile(const DiskFile&) = delete;
    DiskFile& operator=(const DiskFile&) = delete;
    ~DiskFile();

    /// Closes any open file and opens another.
    bool Open(const File& file, Mode mode) noexcept;
    /// Size in bytes of the open file; -1, with the last error set, when it is not a plain file.
    int64_t GetSize() const noexcept;
    /// Reads `size` bytes; fewer, and finally 0, only at the end of the file.
    bool Read(void* buffer, unsigned size, unsigned& got) noexcept;
    /// Writes all `size` bytes. An error may be reported only by a later Write or by Close. After
    /// an error every Write fails, and so does Close, because bytes are missing in the file.
    bool Write(const void* data, unsigned size) noexcept;

    /// Room for `size` bytes after what was written, for the caller to fill; Commit says how many
    /// were filled. The room is valid until the next call.
    /// @return null when `size` is above kBufferSize, memory runs out, or writing fails.
    char* GetWriteRoom(unsigned size) noexcept;
    void Commit(unsigned size) noexcept { buffered_ += size; }

    /// Writes buffered bytes and closes the file. A second call is harmless and returns true.
    /// @return false, with the last error set, when anything could not be written.
    bool Close() noexcept;

private:
    friend class MemoryFile;    // maps this file's handle, or moves its own handle into this file
    friend class ReplacedFile;  // flushes what this file has buffered, and needs its handle
    bool Send(const void* data, unsigned size) noexcept;
    bool Flush() noexcept;

    Platform::FileHandle handle_ = Platform::kInvalidFile;
    uint32_t writeError_ = kErrorInvalidHandle;  ///< why writes fail from now on; 0 if they do not
    char* buffer_ = nullptr;
    unsigned buffered_ = 0;
};

}  // namespace KivGuiBase
