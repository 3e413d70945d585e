#pragma once

#include <memory>
#include <string_view>

#include "kivgui/kivgui.h"

namespace MIME {

/// Opens the file that holds a body: as a memory view below 4 MiB, as a disk file from there on.
///
/// At most one of the two is open. Results are false, with the last error set, when something
/// fails. One thread at a time.
class FileAccess {
public:
    /// Bodies of fewer bytes are handled as memory views.
    static constexpr int64_t kDiskFileSize = 0x400000;

    /// What may exist under the name of a file that is opened for writing.
    enum class Target {
        anyFile,  ///< it is emptied
        newFile,  ///< nothing: the file is created, readable by its owner only
    };

    explicit FileAccess(const KivGuiBase::File& file) noexcept : file_(file) {}
    ~FileAccess() { Close(); }
    FileAccess(const FileAccess&) = delete;
    FileAccess& operator=(const FileAccess&) = delete;

    bool OpenForReading() noexcept;

    /// Creates the file. `expectedSize` in bytes chooses between a memory view and a disk file;
    /// a view that still grows past 4 MiB is written out and continues as a disk file.
    bool OpenForWriting(int64_t expectedSize, Target target = Target::anyFile) noexcept;

    /// Opens a disk file for writing, whatever the size to come; the file is made or emptied.
    bool OpenDiskFileForWriting() noexcept;

    /// Writes all of the bytes. 0 bytes succeed without touching the file. A view that is open for
    /// reading takes none (kErrorInvalidHandle).
    bool Write(const void* data, uint64_t size) noexcept;
    bool Write(const KivGuiBase::AnsiStr& text) noexcept {
        return Write(text.GetStr(), text.GetLength());
    }

    /// Room for at least `size` bytes where the next write would go, to be filled by the caller,
    /// who then says with Commit how many of them count.
    /// @return null when writing fails, or `size` is above kMaxRoom.
    char* GetWriteRoom(unsigned size) noexcept;
    void Commit(unsigned size) noexcept;
    static constexpr unsigned kMaxRoom = KivGuiBase::DiskFile::kBufferSize;

    /// The whole content of a file that is open for reading as a memory view; valid until it is
    /// closed. Empty for a disk file.
    std::string_view GetView() const noexcept;

    /// Reads up to `size` bytes of a disk file; fewer, in the end 0, only at its end. (A memory
    /// view is not read piece by piece.)
    bool Read(void* buffer, unsigned size, unsigned& got) noexcept;

    /// Closes what is open; true when nothing is. Writing may fail here too.
    bool Close() noexcept;

    bool IsMemoryView() const noexcept { return memoryFile_ != nullptr; }

private:
    void Drop() noexcept;
    bool WritePiece(const char* data, unsigned size) noexcept;
    bool WriteToMemory(const char* data, unsigned size) noexcept;
    bool MoveToDisk() noexcept;
    static bool FailAsClosed() noexcept;

    KivGuiBase::File file_;
    std::unique_ptr<KivGuiBase::DiskFile> diskFile_;
    std::unique_ptr<KivGuiBase::MemoryFile> memoryFile_;
};

}  // namespace MIME
