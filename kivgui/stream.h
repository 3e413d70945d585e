#pragma once

#include "kivgui/ansi_str.h"
#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "kivgui/export.h"

namespace KivGuiBase {

enum class ReadStreamMode : unsigned { read = 1 };
enum class WriteStreamMode : unsigned { create = 2 };

/// The base of both streams: a file that is closed with the stream. One thread at a time.
class KIV_EXPORT Stream {
public:
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

protected:
    Stream(const File& file, DiskFile::Mode mode) noexcept
        : openError_(file_.Open(file, mode) ? kErrorNone : GetLastError()) {}
    ~Stream() = default;

    /// Returns false, with the reason in the last error, when the file could not be opened.
    bool IsOpen() const noexcept {
        if (openError_ != kErrorNone) SetLastError(openError_);
        return openError_ == kErrorNone;
    }

    DiskFile file_;

private:
    uint32_t openError_;
};

/// Reads texts from a file.
class KIV_EXPORT ReadStream : public Stream {
public:
    ReadStream(const File& file, ReadStreamMode mode) noexcept;

    /// Reads everything up to the end of the file into `text`.
    /// @return false, with `text` empty and the last error set, when the file could not be
    ///         opened or read, or holds more than AnsiStr::kMaxLength bytes.
    bool Read(AnsiStr& text) noexcept;
};

/// Writes texts into a new file.
class KIV_EXPORT WriteStream : public Stream {
public:
    WriteStream(const File& file, WriteStreamMode mode) noexcept;

    /// Writes a NUL-terminated text. @return false, with the last error set, when the file could
    /// not be opened or written; an error may be reported only by Close.
    bool Write(const char* text) noexcept;
    /// Closes the file; the destructor also does so, without a result.
    bool Close() noexcept { return file_.Close(); }
};

}  // namespace KivGuiBase
