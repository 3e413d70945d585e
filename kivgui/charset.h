#pragma once

#include <cstdint>
#include <string_view>

#include "kivgui/ansi_str.h"
#include "kivgui/export.h"

namespace KivGuiBase {

/// A text after its conversion.
struct CharsetResult {
    AnsiStr text;           ///< UTF-8; empty for an unknown charset, or when memory runs out
    bool known = false;     ///< is the charset known?
    uint64_t replaced = 0;  ///< malformed sequences, each now U+FFFD
};

/// Converts bytes of a charset to UTF-8.
///
/// us-ascii, utf-8, utf-16, utf-32, iso-8859-1 and windows-1252 are read here, every other charset
/// by the operating system. Names are compared without regard to case and punctuation; those that
/// are usual in mail for a charset of another name are known ("x-sjis"). Where a charset has a
/// superset that senders use under its name (gb2312, euc-kr, shift_jis), that one is read. An
/// empty name means us-ascii. utf-16 and utf-32 without a byte-order mark are big-endian
/// (RFC 2781, 4.3).
///
/// Never guesses: a byte that means nothing in the charset is malformed. A name that is none, of
/// more than 64 characters or with characters that names do not have, is unknown and not shown to
/// the system. Linear, any thread.
KIV_EXPORT CharsetResult ConvertToUtf8(std::string_view bytes, std::string_view charset) noexcept;

}  // namespace KivGuiBase
