#include "kivgui/stream.h"

#include <algorithm>
#include <cstring>

namespace KivGuiBase {

ReadStream::ReadStream(const File& file, ReadStreamMode /*mode*/) noexcept
    : Stream(file, DiskFile::Mode::read) {}

bool ReadStream::Read(AnsiStr& text) noexcept {
    text = AnsiStr();
    if (!isOpen_) return false;
    char part[0x4000];
    for (unsigned got = 0;;) {
        if (!file_.Read(part, sizeof part, got)) break;
        if (got == 0) {
            text.Shrink();
            return true;
        }
        const unsigned length = text.GetLength();
        text.Append(std::string_view(part, got), Growth::spare);
        if (text.GetLength() == length) break;
    }
    text = AnsiStr();
    return false;
}

WriteStream::WriteStream(const File& file, WriteStreamMode /*mode*/) noexcept
    : Stream(file, DiskFile::Mode::create) {}

bool WriteStream::Write(const char* text) noexcept {
    if (!isOpen_) return false;
    constexpr size_t kPiece = 0xFFFFFFFF;
    for (size_t left = std::strlen(text); left > 0;) {
        const size_t size = std::min(left, kPiece);
        if (!file_.Write(text, static_cast<unsigned>(size))) return false;
        text += size;
        left -= size;
    }
    return true;
}

}  // namespace KivGuiBase
