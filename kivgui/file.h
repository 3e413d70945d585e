#pragma once

#include <cstdint>

#include "kivgui/ansi_str.h"
#include "kivgui/export.h"

namespace KivGuiBase {

namespace Platform {

/// A system's open file: a descriptor or a handle.
using FileHandle = intptr_t;
inline constexpr FileHandle kInvalidFile = -1;

}  // namespace Platform

/// What kind of file a path is made for.
enum class FileType : unsigned { temporary = 0 };

/// The path of a file. A value: copying it copies a string handle, and it keeps nothing open.
/// An empty path names no file. Paths are UTF-8 on Windows and plain bytes elsewhere.
class KIV_EXPORT File {
public:
    File() noexcept = default;
    explicit File(const AnsiStr& path) noexcept : path_(path) {}

    /// A path for a new temporary file; nothing is created yet.
    ///
    /// The path is the system's temporary folder and one file name: `name`, made safe by
    /// MakeSafeFileName, with "-" and 16 unpredictable hexadecimal digits before its extension.
    /// Every call gives a different path. Empty, with the last error set, when memory runs out or
    /// the system has no random numbers. `flag` has no effect.
    File(FileType type, const AnsiStr& name, bool flag) noexcept;
    /// The same with a separate extension, without its dot.
    File(FileType type, const AnsiStr& name, const AnsiStr& extension, bool flag) noexcept;

    const AnsiStr& GetPath() const noexcept { return path_; }
    bool IsEmpty() const noexcept { return path_.IsEmpty(); }

    /// Size in bytes; -1, with the last error set, when it cannot be determined.
    int64_t GetSize() const noexcept;

    /// Copies the content to a file that is created here and that only its owner can access. With
    /// `replace` a file (or link) of that name is removed first; without, it makes the copy fail.
    /// Copying a path onto itself changes nothing. On failure the last error says why, and a part
    /// of the copy may be left.
    bool Copy(const File& target, bool replace) const noexcept;

    /// Deletes the file. `flag` has no effect.
    bool Remove(bool flag) const noexcept;

private:
    AnsiStr path_;
};

/// Turns any text into one that can be a file name on POSIX systems and on Windows.
///
/// Replaced by "_" are path separators, drive colons, control bytes, the characters <>"|?*,
/// leading and trailing dots and spaces, and bytes that are not valid UTF-8. A name that Windows
/// reserves for a device ("CON", "nul.txt") gets a "_" in front. The result is cut, between UTF-8
/// characters, to `maxLength` bytes; an extension of up to 64 bytes is kept. An empty text gives
/// "_". Empty when memory runs out.
KIV_EXPORT AnsiStr MakeSafeFileName(const AnsiStr& text, unsigned maxLength = 255) noexcept;

}  // namespace KivGuiBase
