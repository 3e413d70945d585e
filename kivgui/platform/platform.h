#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "kivgui/ansi_str.h"
#include "kivgui/file.h"
#include "kivgui/text_builder.h"
#include "kivgui/thread_data.h"

/// Everything that the library asks of an operating system. Each back end answers all of it in its
/// own folder, and the build chooses the folder; nothing outside these folders knows which system
/// it runs on.
///
/// A function that reports failure, by false or by an invalid handle, has set the last-error code
/// (error.h). Paths are UTF-8 on Windows and plain bytes elsewhere. Nothing throws. Every function
/// may be called on any thread; one handle belongs to one thread at a time.
namespace KivGuiBase::Platform {

enum class OpenMode {
    read,       ///< an existing file; never waits for the other end of a pipe
    replace,    ///< created when absent (with the permissions that the user's settings give),
                ///< emptied when present; follows links, because the caller named the file
    createNew,  ///< created here, readable and writable for its owner only; fails with
                ///< kErrorFileExists when anything, even a dangling link, has the name
};

FileHandle OpenFile(const char* path, OpenMode mode) noexcept;

/// Closes the file. False when the system reports a delayed write error; it is closed then too.
bool CloseFile(FileHandle file) noexcept;

/// Reads `size` bytes; fewer only at the end of the file. Continues after a short read and after
/// an interruption.
bool ReadFile(FileHandle file, void* buffer, size_t size, size_t& got) noexcept;

/// Writes all of `size` bytes, however many calls that takes.
bool WriteFile(FileHandle file, const void* data, size_t size) noexcept;

/// The size of an open file in bytes. Fails with kErrorAccessDenied for a folder and
/// kErrorInvalidFunction for anything else that is not a plain file.
bool GetFileSize(FileHandle file, uint64_t& size) noexcept;

/// The size of the file at `path`; -1 with the last error set when it cannot be determined.
int64_t GetFileSize(const char* path) noexcept;

bool RemoveFile(const char* path) noexcept;

/// @name Replacing files
/// @{

struct Target {
    AnsiStr path;           ///< with the links followed that the name itself is
    AnsiStr folder;         ///< of `path`, with a separator at its end; empty for the current one
    bool isStream = false;  ///< a device, a pipe or a socket, which cannot be replaced
};

/// Where a file is that is to be made or replaced; fails for a folder.
bool FindTarget(const char* path, Target& target) noexcept;

/// Gives a file that was made by OpenMode::createNew the permissions of another one, and its owner and
/// group, as far as this user may do that: what cannot be given is left out.
/// @param file  open for writing; `path` is its path.
bool CopyPermissions(FileHandle file, const char* path, const char* model) noexcept;

/// Returns when what was written is on the disk, where no later error can lose it.
bool FlushFile(FileHandle file) noexcept;

/// Renames a file within its folder, in one step that replaces a file of the new name.
bool RenameFile(const char* from, const char* to) noexcept;
/// @}

/// What a name in a folder stands for. A link stands for what it leads to.
enum class EntryKind {
    file,  ///< a plain file, or something that cannot be looked at
    folder,
    linkedFolder,  ///< a link to a folder, which may lead back up
    other,         ///< a device, a pipe
};

/// Receives the names in a folder, in no order, without "." and "..".
class NameTaker {
public:
    /// @return false to stop.
    virtual bool Take(const char* name, EntryKind kind) noexcept = 0;

protected:
    ~NameTaker() = default;
};

/// @return false when the folder cannot be read. True when the taker has stopped.
bool ListFolder(const char* path, NameTaker& taker) noexcept;

/// Maps the first `size` bytes (not 0) of a file for reading. The mapping stays valid when the
/// handle is closed. Null on failure.
const char* MapFile(FileHandle file, uint64_t size) noexcept;
void UnmapFile(const char* start, uint64_t size) noexcept;
/// The whole pages of a part of a mapped file need not stay in memory.
void ReleasePages(const char* start, size_t size) noexcept;

/// A hint that memory is better made of pages of 2 MiB, at whose multiples it begins and ends.
void UseLargePages(void* memory, size_t size) noexcept;

/// The folder for temporary files, with a separator at its end; empty on failure.
AnsiStr GetTempFolder() noexcept;

/// Fills the buffer from the system's source of unpredictable bytes.
bool FillRandom(void* buffer, size_t size) noexcept;

/// A number that is different in a process made by fork. Always the same where there is no fork.
uint64_t GetProcessGeneration() noexcept;

/// The calling thread's last-error code: the system's own where it has one.
uint32_t GetThreadError() noexcept;
void SetThreadError(uint32_t code) noexcept;

/// The calling thread's data, valid until the thread ends.
ThreadData& GetThreadData() noexcept;

/// Frees the data of all threads when the module ends. Threads that call the library after that
/// share one.
void FreeThreadData() noexcept;

/// Appends bytes of a charset as UTF-8. Each byte at which no character of the charset begins
/// becomes U+FFFD and is counted in `replaced`, and so are the bytes of an unfinished character at
/// the end. When memory runs out, `text` is incomplete and the shortage counted (memory.h).
/// @param charset  letters, digits and "-_.:+()" only, NUL-terminated; in the spelling that mail
///                 prefers when there is one.
/// @return false, with nothing appended, when the system has no such charset.
bool AppendAsUtf8(const char* charset, std::string_view bytes, TextBuilder& text,
                  uint64_t& replaced) noexcept;

/// The system's text for a last-error code, without a line end; empty when it has none.
AnsiStr GetErrorText(uint32_t code) noexcept;

}  // namespace KivGuiBase::Platform
