#include "kivgui/stream.h"

#include <algorithm>
#include <cstring>

#include "kivgui/text_builder.h"

namespace KivGuiBase {

ReadStream::ReadStream(const File& file, ReadStreamMode /*mode*/) noexcept
    : Stream(file, DiskFile::Mode::read) {}

bool ReadStream::Read(AnsiStr& text) noexcept {
    text = AnsiStr();
    if (!IsOpen()) return false;
    TextBuilder whole;
    char part[0x4000];
    for (unsigned got = sizeof part; got != 0;) {
        if (!file_.Read(part, sizeof part, got)) return false;
        whole.Append({part, got});
        if (!whole.IsComplete()) return false;
    }
    text = whole.Finish();
    return true;
}

WriteStream::WriteStream(const File& file, WriteStreamMode /*mode*/) noexcept
    : Stream(file, DiskFile::Mode::create) {}

bool WriteStream::Write(const char* text) noexcept {
    if (!IsOpen()) return false;
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
