#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "kivgui/ansi_str.h"
#include "kivgui/export.h"

namespace KivGuiBase {

namespace Platform {

/// A system's open file: a descriptor or a handle.
using FileHandle = intptr_t;
inline constexpr FileHandle kInvalidFile = -1;

}  // namespace Platform

/// std::filesystem::path, recognised by its members: its header would double the compile time of
/// every file that includes this one.
template <class Path>
concept StandardPath = requires(const Path& path) {
    { path.native() } -> std::same_as<const std::basic_string<typename Path::value_type>&>;
    path.has_root_directory();
};

/// @name Conversion of paths between the system's form, as in std::filesystem::path, and ours
/// UTF-16 and UTF-8 on Windows; the same bytes elsewhere. Half a surrogate pair becomes a byte 0xFF,
/// so that opening the file fails, and a text that is not UTF-8 an empty UTF-16 path.
/// ToSystemPath throws std::bad_alloc; FromSystemPath gives an empty path when memory runs out.
/// @{
inline AnsiStr FromSystemPath(std::string_view path) noexcept {
    return path;
}
KIV_EXPORT AnsiStr FromSystemPath(std::wstring_view path) noexcept;
inline void ToSystemPath(std::string_view path, std::string& systemPath) {
    systemPath = path;
}
KIV_EXPORT void ToSystemPath(std::string_view path, std::wstring& systemPath);
/// @}

/// The kind of file for which a path is made.
enum class FileType : unsigned { temporary = 0 };

/// The path of a file. A value: copying it copies a string handle, and it keeps nothing open.
/// An empty path names no file. Paths are UTF-8 on Windows and plain bytes elsewhere.
class KIV_EXPORT File {
public:
    File() noexcept = default;
    explicit File(const AnsiStr& path) noexcept : path_(path) {}
    /// From std::filesystem::path. Empty when memory runs out.
    template <StandardPath Path>
    explicit File(const Path& path) noexcept
        : path_(FromSystemPath(std::basic_string_view<typename Path::value_type>(path.native()))) {}

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
    /// The same path for the standard library.
    template <StandardPath Path>
    operator Path() const {
        typename Path::string_type systemPath;
        ToSystemPath(path_, systemPath);
        return Path(std::move(systemPath));
    }

    /// Size in bytes; -1, with the last error set, when it cannot be determined.
    int64_t GetSize() const noexcept;

    /// Copies the content to a file that is created here and that only its owner can access. With
    /// `replace` a file (or link) of that name is removed first; without, it makes the copy fail.
    /// Copying a path onto itself changes nothing. On failure the last error says why, and a part
    /// of the copy may be left.
    bool Copy(const File& target, bool replace) const noexcept;

    /// Deletes the file. `flag` has no effect.
    bool Remove(bool flag) const noexcept;

    /// By the bytes of the path: two spellings of one file differ.
    friend bool operator==(const File& a, const File& b) noexcept = default;
    friend std::strong_ordering operator<=>(const File& a, const File& b) noexcept = default;

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

template <>
struct std::hash<KivGuiBase::File> {
    size_t operator()(const KivGuiBase::File& file) const noexcept {
        return std::hash<KivGuiBase::AnsiStr>()(file.GetPath());
    }
};
