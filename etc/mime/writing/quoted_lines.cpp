#include "mime/writing/quoted_lines.h"

#include <algorithm>
#include <cstring>

#include "kivgui/hex.h"

// A piece of text with its escapes is divided into lines: each gets as much as leaves room for the "=" of a
// soft break, without dividing an escape, and gives back the beginning of a UTF-8 character. All bytes of such
// a character are escapes, so their first digits tell what they are.

namespace MIME {

using KivGuiBase::kHexEscapeLength;
using KivGuiBase::WriteHexEscape;
using QuotedPrintable::kCopiedLine;
using QuotedPrintable::kMaxLine;

namespace {

constexpr char kEscape = '=';

bool StartsWith(const char* next, const char* stop, std::string_view text) noexcept {
    return std::string_view(next, static_cast<size_t>(stop - next)).starts_with(text);
}

/// Is there an escape at `at` of a continuation byte?
bool IsUtf8Tail(const char* at) noexcept {
    return at[0] == kEscape && (at[1] == '8' || at[1] == '9' || at[1] == 'A' || at[1] == 'B');
}
/// Is there an escape at `at` of a byte that begins a UTF-8 character of several?
bool IsUtf8Lead(const char* at) noexcept {
    return at[0] == kEscape && at[1] >= 'C' && at[1] <= 'F';
}

/// How much of a line comes before a soft break that has to be at `limit` or before it.
size_t FindBreak(const char* line, size_t limit) noexcept {
    constexpr size_t kMaxTails = 3;
    const size_t cut =
        limit - (line[limit - 1] == kEscape) - 2 * size_t{line[limit - 2] == kEscape};
    const char* const at = line + cut;
    if (!IsUtf8Tail(at)) return cut;
    size_t tails = 1;
    while (tails < kMaxTails && IsUtf8Tail(at - tails * kHexEscapeLength)) ++tails;
    return IsUtf8Lead(at - tails * kHexEscapeLength) ? cut - tails * kHexEscapeLength : cut;
}

}  // namespace

/// Escaped text, and where its lines are put.
struct QuotedLines::Lines {
    const char* next;
    char* put;

    /// Copies as many characters; writes up to kCopiedLine of them.
    void Copy(size_t size) noexcept {
        std::memcpy(put, next, kCopiedLine);
        put += size;
        next += size;
    }
    void Put(std::string_view text) noexcept { put = std::copy(text.begin(), text.end(), put); }
};

/// Escapes the first character of a line if it must not begin one. @return what it takes on the line.
size_t QuotedLines::ProtectStart(Lines& lines, const char* stop) noexcept {
    if (lines.next == stop) return 0;
    const bool isExposed = *lines.next == '.' ||
                           (*lines.next == '-' && (protectsDashes_ || isContinued_) &&
                            StartsWith(lines.next, stop, "--")) ||
                           (*lines.next == 'F' && (StartsWith(lines.next, stop, "From ") ||
                                                   StartsWith(lines.next, stop, "From=20")));
    if (!isExposed) return 0;
    lines.put = WriteHexEscape(kEscape, *lines.next++, lines.put);
    return kHexEscapeLength;
}

/// Puts lines with soft breaks, until what is left before `stop` is no more than a line.
void QuotedLines::Break(Lines& lines, const char* stop) noexcept {
    for (;;) {
        const Lines before = lines;
        const size_t used = ProtectStart(lines, stop);
        if (used + static_cast<size_t>(stop - lines.next) <= kMaxLine) {
            lines = before;
            return;
        }
        lines.Copy(FindBreak(lines.next, kMaxLine - 1 - used));
        *lines.put++ = kEscape;
        lines.Put(lineEnd_);
        isContinued_ = true;
    }
}

/// Puts a line of the text, up to its line end.
void QuotedLines::PutLine(Lines& lines, const char* stop) noexcept {
    Break(lines, stop);
    ProtectStart(lines, stop);
    lines.Copy(static_cast<size_t>(stop - lines.next));
    isContinued_ = false;
}

size_t QuotedLines::Encode(const char*& next, const char* end, bool isLast, char* out) noexcept {
    constexpr size_t kLineEnd = 2;
    const QuotedPrintable::EscapedPiece piece(next, end, isLast,
                                              KivGuiBase::QuotedPrintable::Dots::plain);
    Lines lines{piece.text, out};
    for (size_t i = 0; i < piece.lineEndCount; ++i) {
        const char* const lineEnd = piece.text + piece.lineEnds[i];
        PutLine(lines, lineEnd - kLineEnd);
        lines.Put(lineEnd_);
        lines.next = lineEnd;
    }
    if (!piece.isLast) {
        Break(lines, piece.textEnd);
    } else if (lines.next != piece.textEnd) {
        PutLine(lines, piece.textEnd);
    }
    next += piece.CountTaken(lines.next);
    return static_cast<size_t>(lines.put - out);
}

}  // namespace MIME
