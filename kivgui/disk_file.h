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
        create = 2,     ///< made when absent, emptied when present; follows links
        createNew = 3,  ///< made for its owner alone; fails when the name is taken
    };

    /// Small writes collect in a buffer of this size; a write that is larger goes to the system
    /// as it is.
    static constexpr unsigned kBufferSize = 0x20000;

    DiskFile() noexcept = default;
    DiskFile(const DiskFile&) = delete;
    DiskFile& operator=(const DiskFile&) = delete;
    ~DiskFile();

    /// Opens a file, after closing the one that was open.
    bool Open(const File& file, Mode mode) noexcept;
    /// Size in bytes of the open file; -1, with the last error set, when it is no plain file.
    int64_t GetSize() const noexcept;
    /// Reads up to `size` bytes; fewer, in the end 0, only at the end of the file.
    bool Read(void* buffer, unsigned size, unsigned& got) noexcept;
    /// Takes all `size` bytes. An error may come to light only at a later Write or at Close;
    /// from then on every Write fails, and Close too, because the file has a gap.
    bool Write(const void* data, unsigned size) noexcept;

    /// Room for `size` bytes at the end of what was written, to be filled by the caller, who
    /// then says with Commit how many it put there. The room ends with the next call.
    /// @return null when `size` is above kBufferSize, memory runs out, or writing fails.
    char* GetWriteRoom(unsigned size) noexcept;
    void Commit(unsigned size) noexcept { buffered_ += size; }

    /// Writes what is buffered and closes. A second call is harmless and gives true.
    /// @return false, with the last error set, when anything could not be written.
    bool Close() noexcept;

private:
    friend class MemoryFile;  // maps what is open here, and moves what it has open here
    bool Send(const void* data, unsigned size) noexcept;
    bool Flush() noexcept;

    Platform::FileHandle handle_ = Platform::kInvalidFile;
    uint32_t writeError_ = kErrorInvalidHandle;  ///< why nothing more is taken; 0 when it is
    char* buffer_ = nullptr;
    unsigned buffered_ = 0;
};

}  // namespace KivGuiBase
