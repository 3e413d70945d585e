#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kivgui/export.h"

namespace MIME {

/// How to read text without a useful label.
struct TextCharset {
    /// The charset of text that has no label, or an unknown one, and is not UTF-8. Any label that
    /// DecodeText knows; an unknown one means "windows-1252".
    std::string fallback = "windows-1252";
};

/// A text after its conversion to UTF-8.
struct DecodedText {
    std::string text;       ///< well-formed UTF-8 without a byte-order mark at its start
    std::string charset;    ///< the charset that was used, in lower case: "windows-1252"
    uint64_t replaced = 0;  ///< malformed sequences, each now U+FFFD
};

/// Converts the bytes of a decoded body to UTF-8, as web browsers do.
///
/// The first of these that applies decides the charset:
/// 1. A byte-order mark of UTF-8 or UTF-16.
/// 2. The label, if it is known. The labels and their meanings are those of the WHATWG Encoding
///    standard, by which iso-8859-1 is windows-1252 and gb2312 is gbk; then those of
///    KivGuiBase::ConvertToUtf8. The label "us-ascii" is ignored: it says nothing about a byte
///    above 0x7F. If the bytes are UTF-8, the label of a charset that cannot contain them is
///    ignored as well: iso-2022 and UTF-7 have no bytes above 0x7F, and UTF-16 text has NULs.
/// 3. UTF-8, if the bytes are well-formed.
/// 4. `how.fallback`.
///
/// A byte from 0x80 to 0x9F that a windows charset leaves undefined becomes the control character
/// with its number, as in browsers.
///
/// @param bytes  any bytes; may be empty.
/// @param label  the value of the parameter "charset", possibly empty. White space and quotes
///               around it are ignored, and so is everything after a blank, ";", "," or "*" inside
///               it.
/// @return `charset` is one of the WHATWG names, or the label of a charset that only the system knows.
///
/// Throws std::bad_alloc when memory runs out, or when more than 1 GiB must be converted; text that
/// is already UTF-8 need not be converted. Takes linear time. Any thread.
///
///   DecodeText("caf\xE9 \x80 5", "iso-8859-1").text;   // "caf\u00E9 \u20AC 5"
KIV_EXPORT DecodedText DecodeText(std::string_view bytes, std::string_view label,
                                  const TextCharset& how = {});

/// Converts a field value to UTF-8, for senders that write bytes above 0x7F without encoding them.
/// Text that is UTF-8 is returned as it is; other text is read in the charset `how.fallback`. Time
/// and exceptions are those of DecodeText.
KIV_EXPORT std::string DecodeRawHeader(std::string_view raw, const TextCharset& how = {});

}  // namespace MIME
