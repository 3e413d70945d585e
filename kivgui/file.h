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

/// What a File made from a name is for.
enum class FileType : unsigned { temporary = 0 };

/// The path of a file. A value: copying it copies a string handle, and it holds nothing open.
/// An empty path names no file. Paths are UTF-8 on Windows and plain bytes elsewhere.
class KIV_EXPORT File {
public:
    File() noexcept = default;
    explicit File(const AnsiStr& path) noexcept : path_(path) {}

    /// A path for a new temporary file; nothing is created yet.
    ///
    /// The path is the system's temporary folder and one file name: `name`, made safe by
    /// MakeSafeFileName, with "-" and 16 hexadecimal digits that nobody can predict before its
    /// extension. Every call gives another path. Empty when memory runs out.
    /// `flag` selects nothing.
    File(FileType type, const AnsiStr& name, bool flag) noexcept;
    /// The same with the extension given apart, without its dot.
    File(FileType type, const AnsiStr& name, const AnsiStr& extension, bool flag) noexcept;

    const AnsiStr& GetPath() const noexcept { return path_; }
    bool IsEmpty() const noexcept { return path_.IsEmpty(); }

    /// Size in bytes; -1, with the last error set, when it cannot be told.
    int64_t GetSize() const noexcept;

    /// Copies the content to a file that is created for its owner alone. With `replace` a file
    /// (or link) that has the name already is removed first; without, it fails the copy. A
    /// path copied onto itself changes nothing. On failure the last error says why and a part of the copy may stay.
    bool Copy(const File& target, bool replace) const noexcept;

    /// Deletes the file. `flag` selects nothing.
    bool Remove(bool flag) const noexcept;

private:
    AnsiStr path_;
};

/// Turns any text into one that can be a file name on every system we know.
///
/// Replaced by "_" are path separators, drive colons, control bytes, the characters <>"|?*,
/// leading and trailing dots and spaces, and bytes that are not valid UTF-8. A name that Windows
/// keeps for a device ("CON", "nul.txt") gets a "_" in front. The result is cut, between UTF-8
/// characters, to `maxLength` bytes; an extension of up to 64 bytes survives the cut. An empty
/// text gives "_".
KIV_EXPORT AnsiStr MakeSafeFileName(const AnsiStr& text, unsigned maxLength = 255) noexcept;

}  // namespace KivGuiBase
