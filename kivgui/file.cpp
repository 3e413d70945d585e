#include "kivgui/file.h"

#include <algorithm>

#include "kivgui/ascii.h"
#include "kivgui/disk_file.h"
#include "kivgui/hex.h"
#include "kivgui/memory.h"
#include "kivgui/platform/platform.h"
#include "kivgui/random.h"
#include "kivgui/utf8.h"

// A file name comes from a message, which is not to be trusted: it must neither leave its folder,
// nor name a device, nor hide. MakeSafeParts replaces what is dangerous and cuts stem and extension
// apart, so that the extension survives when a long name is shortened. A temporary name also gets
// 64 random bits, so that nobody can put a file or a link there first.

namespace KivGuiBase {

namespace {

constexpr unsigned kMaxFileName = 255;  // bytes, on the usual file systems

constexpr bool IsFileNameByte(char c) noexcept {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x20 && byte != 0x7F &&
           std::string_view("/\\:<>\"|?*").find(c) == std::string_view::npos;
}

constexpr bool IsDotOrSpace(char c) noexcept {
    return c == '.' || c == ' ';
}

/// Appends to `out` the safe form of as much of `text` as fits in `limit` bytes.
void AppendSafe(AnsiStr& out, std::string_view text, unsigned limit) noexcept {
    const unsigned start = out.GetLength();
    while (!text.empty() && out.GetLength() - start < limit) {
        const unsigned length = MeasureUtf8(text);
        if (length > limit - (out.GetLength() - start)) return;
        const bool safe = length > 1 || (length == 1 && IsFileNameByte(text.front()));
        out.Append(safe ? text.substr(0, length) : "_", Growth::spare);
        text.remove_prefix(std::max(length, 1u));
    }
}

/// Returns true if Windows reserves the name, up to its first dot, for a device.
bool IsDeviceName(std::string_view name) noexcept {
    name = name.substr(0, name.find('.'));
    while (!name.empty() && name.back() == ' ') name.remove_suffix(1);
    for (const char* device : {"con", "prn", "aux", "nul", "conin$", "conout$"}) {
        if (EqualsCaseless(name, device)) return true;
    }
    constexpr std::string_view kPortDigits[] = {
        "0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "\xC2\xB9", "\xC2\xB2", "\xC2\xB3"};
    if (name.size() < 4) return false;
    const std::string_view digit = name.substr(3);
    if (std::find(std::begin(kPortDigits), std::end(kPortDigits), digit) == std::end(kPortDigits)) {
        return false;
    }
    const std::string_view port = name.substr(0, 3);
    return EqualsCaseless(port, "com") || EqualsCaseless(port, "lpt");
}

struct SafeName {
    AnsiStr stem;
    AnsiStr extension;  ///< with its dot; may be empty
};

/// Position of the dot before the extension; the length when there is no extension to keep.
size_t FindExtension(std::string_view text) noexcept {
    constexpr size_t kMaxExtension = 64;
    const size_t dot = text.rfind('.');
    if (dot == std::string_view::npos || dot == 0) return text.size();
    const size_t length = text.size() - dot - 1;
    return length == 0 || length > kMaxExtension ? text.size() : dot;
}

SafeName MakeSafeParts(std::string_view text, unsigned maxLength) noexcept {
    const size_t dot = FindExtension(text);
    SafeName name;
    AppendSafe(name.extension, text.substr(dot), maxLength / 2);
    const unsigned room = maxLength - name.extension.GetLength();
    AppendSafe(name.stem, text.substr(0, dot), room);
    if (name.stem.IsEmpty()) name.stem = "_";
    if (IsDeviceName(name.stem)) {
        name.stem = "_";
        AppendSafe(name.stem, text.substr(0, dot), room - 1);
    }

    // Windows drops dots and spaces at the end of a name, and a dot at its start hides a file.
    unsigned leading = 0;
    while (IsDotOrSpace(name.stem.GetStr()[leading])) ++leading;
    AnsiStr& last = name.extension.IsEmpty() ? name.stem : name.extension;
    unsigned trailing = 0;
    while (trailing < last.GetLength() &&
           IsDotOrSpace(last.GetStr()[last.GetLength() - 1 - trailing])) {
        ++trailing;
    }
    if (leading != 0) {
        name.stem.Delete(0, leading);
        for (; leading != 0; --leading) name.stem.Insert(0, '_');
    }
    trailing = std::min(trailing, last.GetLength());
    last.Trunc(last.GetLength() - trailing);
    for (; trailing != 0; --trailing) last += '_';
    return name;
}

/// @param watch  made before `text`, which must be whole.
AnsiStr MakeTemporaryPath(const AnsiStr& text, const MemoryWatch& watch = {}) noexcept {
    constexpr unsigned kRandomBytes = 8;
    char random[kRandomBytes];
    if (!GetUnpredictableBytes(random, sizeof random)) return {};
    char tag[1 + 2 * kRandomBytes] = {'-'};
    char* next = tag + 1;
    for (const char byte : random) next = WriteHexPair(byte, next);
    const SafeName name = MakeSafeParts(text, kMaxFileName - sizeof tag);
    const AnsiStr folder = Platform::GetTempFolder();
    if (folder.IsEmpty()) return {};
    const uint64_t length = uint64_t{folder.GetLength()} + kMaxFileName;
    AnsiStr path;
    if (length > AnsiStr::kMaxLength || path.Alloc(static_cast<unsigned>(length)) == nullptr) {
        return {};
    }
    path += folder;
    path += name.stem;
    path += std::string_view(tag, sizeof tag);
    path += name.extension;
    path.Shrink();
    // With a piece missing it could name a file outside the folder.
    return watch.HasFailed() ? AnsiStr() : path;
}

}  // namespace

AnsiStr MakeSafeFileName(const AnsiStr& text, unsigned maxLength) noexcept {
    const MemoryWatch watch;
    const SafeName name = MakeSafeParts(text, maxLength);
    const AnsiStr whole = name.stem + name.extension;
    return watch.HasFailed() ? AnsiStr() : whole;
}

File::File(FileType /*type*/, const AnsiStr& name, bool /*flag*/) noexcept
    : path_(MakeTemporaryPath(name)) {}

File::File(FileType /*type*/, const AnsiStr& name, const AnsiStr& extension,
           bool /*flag*/) noexcept {
    const MemoryWatch watch;
    path_ = MakeTemporaryPath(name + AnsiStr(".") + extension, watch);
}

int64_t File::GetSize() const noexcept {
    return Platform::GetFileSize(path_.GetStr());
}

bool File::Remove(bool /*flag*/) const noexcept {
    return Platform::RemoveFile(path_.GetStr());
}

bool File::Copy(const File& target, bool replace) const noexcept {
    constexpr unsigned kPiece = 0x10000;
    DiskFile source;
    if (!source.Open(*this, DiskFile::Mode::read)) return false;
    if (path_ == target.path_) return true;
    DiskFile copy;
    bool copied = copy.Open(target, DiskFile::Mode::createNew);
    if (!copied && replace && GetLastError() == kErrorFileExists) {
        copied = target.Remove(false) && copy.Open(target, DiskFile::Mode::createNew);
    }
    for (unsigned got = kPiece; copied && got != 0;) {
        char* room = copy.GetWriteRoom(kPiece);
        copied = room != nullptr && source.Read(room, kPiece, got);
        if (copied) copy.Commit(got);
    }
    return copy.Close() && copied;
}

}  // namespace KivGuiBase
