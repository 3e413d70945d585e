#include "mime/encoding/quoted_printable.h"

#include <algorithm>
#include <cstring>

#include "kivgui/ascii.h"
#include "kivgui/hex.h"
#include "kivgui/kernels/quoted_printable_kernel.h"
#include "kivgui/kernels/vector16.h"
#include "kivgui/memory.h"
#include "kivgui/utf8.h"
#include "mime/foundation/guarded.h"

// Quoted-printable (RFC 2045, 6.7), both directions, on top of the loops of quoted_printable_kernel.h.
//
// The encoder takes a piece of text at a time and writes at most 76 characters per output line. In a first
// step every byte that needs it becomes an escape, and CR LFs remain; in a second one this is divided into
// lines: at a CR, or else at the 75th character or up to two before it, so that no escape is divided.
// What belongs to an unfinished line is taken again with the next piece. Both directions take linear time.
//
// Departures from the RFC:
//  1. "." is always escaped, so that no line can be a lone one, which ends an SMTP transfer.
//  2. A UTF-8 byte-order mark at the start of a body is dropped.
//  3. The decoder copies a malformed escape as it is, and keeps white space at the end of a line.

namespace MIME {

using KivGuiBase::CountLeading;
using KivGuiBase::GetHexValue;
using KivGuiBase::IsBlankAscii;
using KivGuiBase::kHexEscapeLength;
using KivGuiBase::Vector16;
using KivGuiBase::WriteHexEscape;

namespace QuotedPrintable {

namespace {

namespace Kernel = KivGuiBase::QuotedPrintable;

constexpr char kEscape = '=';
constexpr size_t kLineEnd = 2;
/// Divides escaped text into lines of output. Copies end up to kCopiedLine characters after what counts.
class LineBreaker {
public:
    LineBreaker(const char* escaped, char* out) noexcept : next_(escaped), put_(out) {}

    const char* GetNext() const noexcept { return next_; }
    char* GetEnd() const noexcept { return put_; }

    /// Copies up to `stop`, where a line ends, or the text.
    /// @param lineEnd  characters before `stop` that do not count as the line's.
    void CopyLine(const char* stop, size_t lineEnd) noexcept {
        Break(stop - lineEnd);
        std::memcpy(put_, next_, kCopiedLine);
        put_ += stop - next_;
        next_ = stop;
    }
    /// Puts soft breaks, until what is left before `stop` is no more than a line. No escape is divided.
    void Break(const char* stop) noexcept {
        constexpr size_t kLast = kMaxLine - 1;  // the soft break's "="
        while (stop - next_ > std::ptrdiff_t{kMaxLine}) {
            std::memcpy(put_, next_, kCopiedLine);
            const size_t length = kLast - size_t{next_[kLast - 1] == kEscape} -
                                  2 * size_t{next_[kLast - 2] == kEscape};
            std::memcpy(put_ + length, "=\r\n", 3);
            put_ += length + 3;
            next_ += length;
        }
    }

private:
    const char* next_;
    char* put_;
};

}  // namespace

EscapedPiece::EscapedPiece(const char* next, const char* end, bool isWhole,
                           Kernel::Dots dots) noexcept {
    const auto left = static_cast<size_t>(end - next);
    size_ = std::min(left, kPiece);
    isLast = isWhole && size_ == left;
    if (!isLast) {
        // What a byte becomes may depend on the two after it, and no CR LF is divided.
        size_ = std::min(size_, left - kLineEnd);
        if (next[size_ - 1] == '\r') --size_;
    }
    const Kernel::Escaped escaped = Kernel::Escape({next, left}, size_, dots, text, lineEnds);
    lineEndCount = escaped.lineEnds;
    textEnd = text + escaped.size;
    if (isLast && IsBlankAscii(next[size_ - 1])) {
        textEnd = WriteHexEscape(kEscape, next[size_ - 1], text + escaped.size - 1);
    }
}

size_t EscapedPiece::CountTaken(const char* unfinished) const noexcept {
    const auto escapes = static_cast<size_t>(std::count(unfinished, textEnd, kEscape));
    return size_ - static_cast<size_t>(textEnd - unfinished) + escapes * (kHexEscapeLength - 1);
}

size_t EncodeLines(const char*& next, const char* end, bool isLast, char* out) noexcept {
    const EscapedPiece piece(next, end, isLast, Kernel::Dots::escaped);
    LineBreaker lines(piece.text, out);
    for (size_t i = 0; i < piece.lineEndCount; ++i) {
        lines.CopyLine(piece.text + piece.lineEnds[i], kLineEnd);
    }
    if (piece.isLast) {
        lines.CopyLine(piece.textEnd, 0);
    } else {
        lines.Break(piece.textEnd);
    }
    next += piece.CountTaken(lines.GetNext());
    return static_cast<size_t>(lines.GetEnd() - out);
}

namespace {

/// Appends as many of the lines as find room.
/// @return false when one finds none.
bool AppendLines(std::string_view lines, AnsiStr& text) noexcept {
    const auto append = [&text](std::string_view piece) {
        const unsigned before = text.GetLength();
        text.Append(piece, KivGuiBase::Growth::spare);
        return text.GetLength() != before;
    };
    if (append(lines)) return true;
    while (!lines.empty()) {
        const size_t length = std::min(lines.find('\n'), lines.size() - 1) + 1;
        append(lines.substr(0, length));
        lines.remove_prefix(length);
    }
    return false;
}

}  // namespace

bool EncodeText(const char* data, unsigned size, AnsiStr& text) noexcept {
    text = AnsiStr();
    const std::string_view body = KivGuiBase::SkipByteOrderMark({data, size});
    if (body.empty()) return true;
    const uint64_t room = std::min<uint64_t>(2 * uint64_t{size}, AnsiStr::kMaxLength);
    char* const memory = text.Alloc(static_cast<unsigned>(room));
    if (memory == nullptr) return false;
    KivGuiBase::UseLargePages(memory, body.size());  // the text is no shorter
    const char* next = body.data();
    const char* const end = next + body.size();
    bool complete = true;
    while (next != end) {
        char lines[kLinesRoom];
        const size_t length = EncodeLines(next, end, true, lines);
        complete = AppendLines({lines, length}, text) && complete;
    }
    text.Shrink();
    return complete;
}

namespace {

/// Decodes the escape at the start of `left` bytes; copies the "=" when it is malformed. The two digits
/// are tested here and not by ReadHexPair, which makes this loop a third slower.
/// @return the number of bytes taken.
size_t DecodeEscape(const char* next, size_t left, char* out) noexcept {
    if (left > 2) {
        const unsigned high = GetHexValue(next[1]);
        const unsigned low = GetHexValue(next[2]);
        if ((high | low) < 16) {
            *out = static_cast<char>(high << 4 | low);
            return 3;
        }
    }
    *out = kEscape;
    return 1;
}

/// The size of what a part of a line decodes to.
size_t MeasureDecoded(std::string_view text) noexcept {
    size_t size = text.size();
    for (size_t at = text.find(kEscape); at != std::string_view::npos;
         at = text.find(kEscape, at + 1)) {
        if (KivGuiBase::ReadHexEscape(text.substr(at)) <= 0xFF) size -= kHexEscapeLength - 1;
    }
    return size;
}

}  // namespace

size_t DecodeLine(std::string_view line, char* out) noexcept {
    const char* next = line.data();
    const char* const end = next + line.size();
    char* put = out;
    while (next != end) {
        const auto left = static_cast<size_t>(end - next);
        if (left >= Vector16::kSize) {
            // Escapes only shrink the text, so the store ends before the room does.
            const Vector16 bytes(next);
            bytes.Store(put);
            const unsigned plain = CountLeading(~bytes.Are(kEscape));
            next += plain;
            put += plain;
            if (plain != 0) continue;
        }
        if (*next != kEscape) {
            *put++ = *next++;
            continue;
        }
        if (left == 1) return static_cast<size_t>(put - out);
        next += DecodeEscape(next, left, put++);
    }
    *put++ = '\r';
    *put++ = '\n';
    return static_cast<size_t>(put - out);
}

Progress DecodePlainLines(std::string_view text, char* out) noexcept {
    if (text.starts_with("--")) return {};
    Progress done = KivGuiBase::QuotedPrintable::DecodeExact(text, out);
    text = text.substr(0, done.taken);
    const size_t lineEnd = text.rfind("\r\n");
    if (lineEnd == std::string_view::npos) return {};
    done.taken = lineEnd + 2;
    done.written -= MeasureDecoded(text.substr(done.taken));
    return done;
}

}  // namespace QuotedPrintable

AnsiStr Encoding::QPEncode(const AnsiStr& text) noexcept {
    return QPEncode(text.GetStr(), text.GetLength());
}

AnsiStr Encoding::QPEncode(const char* data, unsigned length) noexcept {
    return Guarded(AnsiStr(), [=] {
        AnsiStr text;
        QuotedPrintable::EncodeText(data, length, text);
        return text;
    });
}

bool Encoding::QPDecodeLine(const AnsiSubStr& line, Blob& out) noexcept {
    constexpr unsigned kLineEnd = 2;
    const unsigned length = line.GetLength();
    const auto decode = [&] {
        if (length > AnsiStr::kMaxLength - kLineEnd) return false;
        char* bytes = out.Renew(length + kLineEnd);
        return bytes != nullptr &&
               out.Resize(static_cast<unsigned>(QuotedPrintable::DecodeLine(line, bytes)));
    };
    if (Guarded(false, decode)) return true;
    out = Blob();
    return false;
}

}  // namespace MIME
