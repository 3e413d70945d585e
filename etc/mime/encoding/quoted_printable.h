#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "kivgui/kernels/quoted_printable_kernel.h"
#include "mime/mime.h"

/// The steps of the quoted-printable encoding (RFC 2045, 6.7) that Encoding, the body reader and
/// the streaming writer share.
namespace MIME::QuotedPrintable {

inline constexpr unsigned kMaxLine = 76;  // RFC 2045, 6.7 (5), without CR LF

/// Bytes that are encoded at a time, at most.
inline constexpr size_t kPiece = 0x1000;

/// Room for a piece that is encoded: escapes, soft breaks, what protects the starts of lines, and what is
/// stored past the end.
inline constexpr size_t kLinesRoom = 3 * kPiece / (kMaxLine - 16) * kMaxLine + 2 * kMaxLine;

/// With this many bytes before the end of its text, an encoder finds a whole line whatever follows; with
/// fewer, more text must be fetched first if there is any.
inline constexpr size_t kLookAhead = kMaxLine + 5;

/// What is copied for a line of output: as much as it may have, with its line end.
inline constexpr size_t kCopiedLine = 80;

/// The start of a text with its escapes, before soft breaks divide it into lines.
struct EscapedPiece {
    /// Takes bytes from between `next` and `end` (at least one; more than kLookAhead unless the text ends
    /// at `end`, `isWhole`).
    EscapedPiece(const char* next, const char* end, bool isWhole,
                 KivGuiBase::QuotedPrintable::Dots dots) noexcept;

    /// The number of bytes that became the escaped text before `unfinished`.
    size_t CountTaken(const char* unfinished) const noexcept;

    bool isLast;  ///< the text ends with it
    const char* textEnd;
    size_t lineEndCount;
    uint16_t lineEnds[kPiece / 2 + 1];  ///< offsets in `text`, after each CR LF
    /// A line may be copied from wherever one begins.
    char text[KivGuiBase::QuotedPrintable::GetEscapeRoom(kPiece) + kCopiedLine];

private:
    size_t size_;  ///< in bytes of the text
};

/// Encodes bytes from between `next` and `end`, as many as EscapedPiece takes, and moves `next` past those
/// in whole output lines, with their soft or hard line breaks, or past all that is left of the text (`isLast`).
/// @return the number of characters written, at least one; `out` has kLinesRoom.
size_t EncodeLines(const char*& next, const char* end, bool isLast, char* out) noexcept;

/// Encodes a whole body. @return false when the text would pass AnsiStr::kMaxLength or memory
/// runs out; `text` then lacks the lines that found no room.
bool EncodeText(const char* data, unsigned size, AnsiStr& text) noexcept;

/// Decodes one line, given without its CR LF, into `out`, which has room for 2 bytes more than
/// the line. @return the number of bytes written.
size_t DecodeLine(std::string_view line, char* out) noexcept;

using KivGuiBase::QuotedPrintable::Progress;

/// Decodes lines as DecodeLine does, in one pass over the text with its line ends, as long as
/// they come whole: stops before a line that begins with "--", holds a NUL, or ends near the end
/// of the text. `out` has as much room as there is text.
Progress DecodePlainLines(std::string_view text, char* out) noexcept;

}  // namespace MIME::QuotedPrintable
