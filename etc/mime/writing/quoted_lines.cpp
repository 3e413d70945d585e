#include "mime/writing/quoted_lines.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "kivgui/ascii.h"
#include "kivgui/hex.h"
#include "kivgui/kernels/vector16.h"
#include "kivgui/utf8.h"

// A line is filled with as much as 76 characters hold. If the text's line does not end there, the last
// byte is taken back when the "=" of the soft break needs its room, and the beginning of a UTF-8
// character with it. Plain text is copied 16 bytes at a time; what was too much is written over.

namespace MIME {

namespace {

using KivGuiBase::CountLeading;
using KivGuiBase::IsBlankAscii;
using KivGuiBase::IsUtf8Tail;
using KivGuiBase::kHexEscapeLength;
using KivGuiBase::Vector16;
using KivGuiBase::WriteHexEscape;

constexpr unsigned kMaxLine = QuotedPrintable::kMaxLine;
constexpr char kEscape = '=';

/// Is written as it is, but for a blank at the end of a line.
constexpr bool IsPlain(char c) noexcept {
    return (c >= ' ' && c <= '~' && c != kEscape) || c == '\t';
}

/// What a byte becomes inside a line.
struct Unit {
    char text[4];
    unsigned char length;
};

constexpr std::array<Unit, 256> kUnits = [] {
    std::array<Unit, 256> units{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        if (IsPlain(c)) {
            units[byte] = {{c}, 1};
        } else {
            units[byte].length = kHexEscapeLength;
            WriteHexEscape(kEscape, c, units[byte].text);
        }
    }
    return units;
}();

const Unit& GetUnit(char c) noexcept {
    return kUnits[static_cast<unsigned char>(c)];
}

/// An output line while it is built.
struct Line {
    const char* next;
    const char* const end;
    char* const out;
    unsigned size = 0;

    size_t GetLeft() const noexcept { return static_cast<size_t>(end - next); }
    bool StartsWith(std::string_view text) const noexcept {
        return std::string_view(next, GetLeft()).starts_with(text);
    }
    bool IsAtLineEnd() const noexcept { return next == end || StartsWith("\r\n"); }

    void PutEscape() noexcept {
        WriteHexEscape(kEscape, *next++, out + size);
        size += kHexEscapeLength;
    }
    void PutPlain() noexcept;
    void PutUnits() noexcept;
    bool Fill() noexcept;
    void TakeBack() noexcept { size -= GetUnit(*--next).length; }
    bool EncodeLastBlank() noexcept;
    void TakeBackToBreak() noexcept;
};

/// Copies plain bytes. Writes up to 16 bytes more than it counts.
void Line::PutPlain() noexcept {
    while (size < kMaxLine) {
        unsigned seen = 1;
        unsigned plain = 1;
        if (GetLeft() >= Vector16::kSize) {
            const Vector16 bytes(next);
            bytes.Store(out + size);
            seen = Vector16::kSize;
            plain =
                CountLeading((bytes.AreBetween(' ', '~') | bytes.Are('\t')) & ~bytes.Are(kEscape));
        } else {
            if (next == end || !IsPlain(*next)) return;
            out[size] = *next;
        }
        const unsigned taken = std::min(plain, kMaxLine - size);
        next += taken;
        size += taken;
        if (plain < seen) return;
    }
}

/// Puts the bytes after a plain run, up to a blank or CR. Literals and escapes share one path without a
/// branch, because in text that mixes them no processor can predict which comes next.
void Line::PutUnits() noexcept {
    constexpr unsigned kLast = kMaxLine - kHexEscapeLength;
    while (next != end && size <= kLast && *next != '\r') {
        const Unit& unit = GetUnit(*next);
        std::memcpy(out + size, unit.text, sizeof unit.text);
        size += unit.length;
        ++next;
        if (next != end && IsBlankAscii(*next)) return;
    }
}

/// Puts as much as fits. @return true when that is the rest of the text's line.
bool Line::Fill() noexcept {
    for (;;) {
        PutPlain();
        if (IsAtLineEnd()) return true;
        if (size + GetUnit(*next).length > kMaxLine) return false;
        if (*next == '\r') {
            PutEscape();
        } else {
            PutUnits();
        }
    }
}

/// Encodes a blank that would end the line. @return false when it must be on a line of its own.
bool Line::EncodeLastBlank() noexcept {
    if (size == 0 || !IsBlankAscii(next[-1])) return true;
    TakeBack();
    if (size > kMaxLine - kHexEscapeLength) return false;
    PutEscape();
    return true;
}

/// Makes room for a soft break, which must not divide a UTF-8 character.
void Line::TakeBackToBreak() noexcept {
    constexpr int kMaxTails = 3;
    if (size == kMaxLine) TakeBack();
    if (!IsUtf8Tail(*next)) return;
    int tails = 1;
    while (tails < kMaxTails && IsUtf8Tail(next[-tails])) ++tails;
    if (static_cast<unsigned char>(next[-tails]) < 0xC0) return;  // not UTF-8
    while (tails-- > 0) TakeBack();
}

}  // namespace

size_t QuotedLines::GetLineRoom() const noexcept {
    return kMaxLine + lineEnd_.size() + Vector16::kSize;
}

char* QuotedLines::PutLine(const char*& next, const char* end, char* out) noexcept {
    Line line{next, end, out};
    const bool isDashes = (protectsDashes_ || isContinued_) && line.StartsWith("--");
    if (isDashes || *next == '.' || line.StartsWith("From ")) line.PutEscape();
    isContinued_ = !line.Fill() || !line.EncodeLastBlank();
    if (isContinued_) {
        line.TakeBackToBreak();
        out[line.size++] = kEscape;
    }
    next = line.next;
    char* const written = out + line.size;
    if (!isContinued_) {
        if (next == end) return written;
        next += 2;
    }
    return std::copy(lineEnd_.begin(), lineEnd_.end(), written);
}

}  // namespace MIME
