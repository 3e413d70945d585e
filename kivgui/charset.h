#pragma once

#include <cstdint>
#include <string_view>

#include "kivgui/ansi_str.h"
#include "kivgui/export.h"

namespace KivGuiBase {

/// A text after its conversion.
struct CharsetResult {
    AnsiStr text;           ///< UTF-8; empty for an unknown charset, or when memory runs out
    bool known = false;     ///< whether the charset is known
    uint64_t replaced = 0;  ///< malformed sequences, each of which became U+FFFD
};

/// Converts bytes of a charset to UTF-8.
///
/// us-ascii, utf-8, utf-16, utf-32, iso-8859-1 and windows-1252 are converted here, every other
/// charset by the operating system. Names are compared without regard to case and punctuation, and
/// the other names that mail uses for a charset are known ("x-sjis"). If senders use a charset's
/// name for a superset of it (gb2312, euc-kr, shift_jis), the superset is used. An empty name means
/// us-ascii. utf-16 and utf-32 without a byte-order mark are big-endian (RFC 2781, 4.3).
///
/// Nothing is guessed: a byte that has no meaning in the charset is malformed. A text that cannot
/// be a name, because it has more than 64 characters or characters that no name has, is an unknown
/// charset, and is not passed to the system. Linear, any thread.
KIV_EXPORT CharsetResult ConvertToUtf8(std::string_view bytes, std::string_view charset) noexcept;

/// Returns true if the whole text is well-formed UTF-8. Like IsUtf8, but takes 32 bytes of ASCII at
/// a time.
bool IsUtf8Text(std::string_view bytes) noexcept;

}  // namespace KivGuiBase
