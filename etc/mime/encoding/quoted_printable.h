#pragma once

#include <cstddef>
#include <string_view>

#include "mime/mime.h"

/// The steps of the quoted-printable encoding (RFC 2045, 6.7) that Encoding, the body reader and
/// the streaming writer share.
namespace MIME::QuotedPrintable {

inline constexpr unsigned kMaxLine = 76;  // RFC 2045, 6.7 (5), without CR LF

/// Room that EncodeLine needs: a line, its CR LF, and what a vector store writes past the end.
inline constexpr unsigned kLineRoom = kMaxLine + 2 + 16;

/// With this many bytes before the end of its text, EncodeLine cannot tell that there is an end;
/// with fewer, more text must be fetched first if there is any.
inline constexpr size_t kLookAhead = kMaxLine + 4;

/// Writes one output line, with its soft or hard line break if it has one, from the bytes between
/// `next` and `end` (at least one), and moves `next` past those it took.
/// @return the number of characters written, at most kMaxLine + 2.
unsigned EncodeLine(const char*& next, const char* end, char* line) noexcept;

/// Encodes a whole body. @return false when the text would pass AnsiStr::kMaxLength or memory
/// runs out; `text` then lacks the lines that found no room.
bool EncodeText(const char* data, unsigned size, AnsiStr& text) noexcept;

/// Decodes one line, given without its CR LF, into `out`, which has room for 2 bytes more than
/// the line. @return the number of bytes written.
size_t DecodeLine(std::string_view line, char* out) noexcept;

/// Bytes of text, and of what they decode to.
struct Progress {
    size_t taken = 0;
    size_t written = 0;
};

/// Decodes lines as DecodeLine does, in one pass over the text with its line ends, as long as
/// they come whole: stops before a line that begins with "--", holds a NUL, or ends near the end
/// of the text. `out` has as much room as there is text.
Progress DecodePlainLines(std::string_view text, char* out) noexcept;

}  // namespace MIME::QuotedPrintable
