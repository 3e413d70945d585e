#include "mime/encoding/quoted_printable.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "kivgui/ascii.h"
#include "kivgui/hex.h"
#include "kivgui/utf8.h"
#include "mime/foundation/char_class.h"
#include "mime/foundation/guarded.h"
#include "mime/foundation/vector16.h"

// Quoted-printable (RFC 2045, 6.7), both directions, a line at a time.
//
// The encoder writes at most 76 characters per output line. It goes through three stages until the
// line is full: copy plain bytes 16 at a time, write literals and escapes from a table, and decide on
// one byte whose form depends on what follows it: a blank, a CR, or a byte at the end of the line. It
// looks at most kLookAhead bytes ahead, so a caller can feed it text in pieces. The decoders copy 16
// bytes at a time up to the next "=" (or line end), and write over what they copied too much; so
// their output has room for as many bytes as the input. Both take linear time.
//
// Departures from the RFC:
//  1. "." is always escaped, so that no line can be a lone one, which ends an SMTP transfer.
//  2. A UTF-8 byte-order mark at the start of a body is dropped.
//  3. The decoder copies a malformed escape as it is, and keeps white space at the end of a line.

namespace MIME {

using KivGuiBase::GetHexValue;
using KivGuiBase::IsBlankAscii;
using KivGuiBase::kHexEscapeLength;
using KivGuiBase::WriteHexEscape;

namespace QuotedPrintable {

namespace {

constexpr char kEscape = '=';

/// A soft line break must still fit after a character, so only the last character of a line may be
/// at kLastPlace, and an escape starts at kLastEscape at the latest.
constexpr unsigned kLastPlace = kMaxLine - 1;
constexpr unsigned kLastEscape = kMaxLine - 4;

constexpr bool IsPlain(char c) noexcept {
    return kQpLiteralBytes.Has(c) || IsBlankAscii(c);
}

/// Copies literal and blank bytes from the start of the text, at most `limit`. Writes up to 16 bytes
/// more than it counts. @return how many were copied.
size_t CopyPlain(const char* next, const char* end, size_t limit, char* out) noexcept {
    size_t count = 0;
    while (count < limit) {
        if (static_cast<size_t>(end - next) - count >= Vector16::kSize) {
            const Vector16 bytes(next + count);
            bytes.Store(out + count);
            const unsigned plain = CountLeading((bytes.AreBetween(' ', '~') | bytes.Are('\t')) &
                                                ~(bytes.Are('.') | bytes.Are('=')));
            count += plain;
            if (plain < Vector16::kSize) break;
        } else {
            if (count == static_cast<size_t>(end - next) || !IsPlain(next[count])) break;
            out[count] = next[count];
            ++count;
        }
    }
    return std::min(count, limit);
}

/// What a byte becomes wherever an escape and a soft line break have room.
struct Unit {
    char text[4];
    unsigned char length;  ///< 0 for white space and CR: it depends on what follows
};

constexpr std::array<Unit, 256> kUnits = [] {
    std::array<Unit, 256> units{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        if (kQpLiteralBytes.Has(c)) {
            units[byte] = {{c}, 1};
        } else if (!IsBlankAscii(c) && c != '\r') {
            units[byte].length = kHexEscapeLength;
            WriteHexEscape(kEscape, c, units[byte].text);
        }
    }
    return units;
}();

/// An output line while it is built.
struct LineState {
    const char* next;
    const char* end;
    char* out;
    unsigned pos = 0;  ///< characters on the line

    bool IsLast() const noexcept { return end - next == 1; }
    bool DoesLineEndFollow() const noexcept {
        return end - next >= 3 && next[1] == '\r' && next[2] == '\n';
    }
    void WriteLineEnd() noexcept {
        out[pos] = '\r';
        out[pos + 1] = '\n';
        pos += 2;
    }
    void WriteSoftBreak() noexcept {
        out[pos++] = kEscape;
        WriteLineEnd();
    }
    void WriteByte() noexcept { out[pos++] = *next++; }
    void WriteEscape() noexcept {
        WriteHexEscape(kEscape, *next++, out + pos);
        pos += kHexEscapeLength;
    }
    void TakeLineEnd() noexcept {
        next += 2;
        WriteLineEnd();
    }
};

/// Writes the bytes after a run, up to white space or CR. Literals and escapes share one path without
/// a branch, because in text that mixes them no processor can predict which comes next.
void PutUnits(LineState& line) noexcept {
    while (line.next != line.end && line.pos <= kLastEscape) {
        const Unit& unit = kUnits[static_cast<unsigned char>(*line.next)];
        if (unit.length == 0) return;
        std::memcpy(line.out + line.pos, unit.text, sizeof unit.text);
        line.pos += unit.length;
        ++line.next;
    }
}

/// The three ways to go on with a line after one byte; true when the line has ended.

bool PutLiteral(LineState& line) noexcept {
    if (line.pos < kLastPlace || line.IsLast()) {
        line.WriteByte();
        return false;
    }
    if (line.DoesLineEndFollow()) {
        line.WriteByte();
        line.TakeLineEnd();
    } else {
        line.WriteSoftBreak();
    }
    return true;
}

bool PutEscape(LineState& line) noexcept {
    const bool fits = line.pos <= kLastEscape;
    const bool fitsWithoutBreak = line.pos == kLastEscape + 1;
    if (fits || (fitsWithoutBreak && line.IsLast())) {
        line.WriteEscape();
        return false;
    }
    if (fitsWithoutBreak && line.DoesLineEndFollow()) {
        line.WriteEscape();
        line.TakeLineEnd();
    } else {
        line.WriteSoftBreak();
    }
    return true;
}

bool PutByte(LineState& line) noexcept {
    const char c = *line.next;
    if (kQpLiteralBytes.Has(c)) return PutLiteral(line);
    if (c == '\r' && !line.IsLast() && line.next[1] == '\n') {
        line.TakeLineEnd();
        return true;
    }
    if (IsBlankAscii(c) && !line.IsLast() && !line.DoesLineEndFollow() && line.pos < kLastPlace) {
        line.WriteByte();
        return false;
    }
    return PutEscape(line);
}

}  // namespace

unsigned EncodeLine(const char*& next, const char* end, char* out) noexcept {
    LineState line{next, end, out};
    do {
        size_t plain =
            CopyPlain(line.next, end, kLastPlace - std::min(line.pos, kLastPlace), out + line.pos);
        // Whether a blank at the end of the run may remain depends on what follows it.
        if (plain > 0 && IsBlankAscii(line.next[plain - 1])) --plain;
        line.next += plain;
        line.pos += static_cast<unsigned>(plain);
        PutUnits(line);
    } while (line.next != end && !PutByte(line) && line.next != end && line.pos < kMaxLine);
    next = line.next;
    return line.pos;
}

bool EncodeText(const char* data, unsigned size, AnsiStr& text) noexcept {
    text = AnsiStr();
    const std::string_view body = KivGuiBase::SkipByteOrderMark({data, size});
    if (body.empty()) return true;
    const uint64_t room = 2 * uint64_t{size};
    if (text.Alloc(static_cast<unsigned>(std::min<uint64_t>(room, AnsiStr::kMaxLength))) ==
        nullptr) {
        return false;
    }
    const char* next = body.data();
    const char* const end = next + body.size();
    bool complete = true;
    while (next != end) {
        char line[kLineRoom];
        const unsigned length = EncodeLine(next, end, line);
        const unsigned before = text.GetLength();
        text.Append(std::string_view(line, length), KivGuiBase::Growth::spare);
        complete = complete && text.GetLength() != before;
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
    // What a step may look at: a vector, an escape after it, the first bytes of the next line.
    constexpr size_t kReach = Vector16::kSize + 8;
    const char* next = text.data();
    char* put = out;
    Progress done;
    if (text.size() < kReach || text.starts_with("--")) return done;
    const char* const lastStep = next + (text.size() - kReach);
    while (next <= lastStep) {
        const Vector16 bytes(next);
        bytes.Store(put);
        const PlaceMask stops = bytes.Are(kEscape) | bytes.Are('\r') | bytes.Are('\0');
        const unsigned plain = CountLeading(~stops);
        next += plain;
        put += plain;
        if (plain == Vector16::kSize) continue;
        if (*next == '\0') break;
        if (*next == kEscape && !(next[1] == '\r' && next[2] == '\n')) {
            next += DecodeEscape(next, 3, put++);
            continue;
        }
        if (*next == kEscape) {
            next += 3;
        } else {
            *put++ = *next++;
            if (*next != '\n') continue;  // a CR alone is text
            *put++ = *next++;
        }
        done = {static_cast<size_t>(next - text.data()), static_cast<size_t>(put - out)};
        if (next[0] == '-' && next[1] == '-') break;
    }
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
