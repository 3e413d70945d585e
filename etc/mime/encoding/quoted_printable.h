#pragma once

#include <cstddef>
#include <string_view>

#include "kivgui/kernels/quoted_printable_kernel.h"
#include "mime/mime.h"

/// The steps of the quoted-printable encoding (RFC 2045, 6.7) that Encoding, the body reader and
/// the streaming writer share.
namespace MIME::QuotedPrintable {

inline constexpr unsigned kMaxLine = 76;  // RFC 2045, 6.7 (5), without CR LF

/// Bytes that EncodeLines takes at a time, at most.
inline constexpr size_t kPiece = 0x1000;

/// Room that EncodeLines needs: escapes, soft breaks, and what is stored past the end.
inline constexpr size_t kLinesRoom = 3 * kPiece / (kMaxLine - 3) * kMaxLine + 2 * kMaxLine;

/// With this many bytes before the end of its text, EncodeLines finds a whole line whatever follows; with
/// fewer, more text must be fetched first if there is any.
inline constexpr size_t kLookAhead = kMaxLine + 5;

/// Encodes bytes from between `next` and `end` (at least one; more than kLookAhead unless the text ends at
/// `end`, `isLast`), and moves `next` past those it took: whole output lines, with their soft or hard
/// line breaks, or all that is left of the text.
/// @return the number of characters written, at least one.
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
