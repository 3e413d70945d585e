#pragma once

#include "kivgui/ansi_str.h"
#include "kivgui/export.h"

namespace MIME {

using KivGuiBase::AnsiStr;

class ParameterMap;

/// The decoders of header fields and bodies. Pure functions, any thread, linear in their input;
/// nothing throws.
///
/// They read what mail programs send, not only what the RFCs allow; docs/decoding.md lists the
/// departures. In decoded header text, an encoded CR, LF or NUL becomes a space, so that no field
/// can end inside a value; only CR, LF and NUL that were unencoded in the field remain.
class KIV_EXPORT Decoding {
public:
    /// Decodes the encoded words of an unstructured field, such as Subject, to UTF-8 (RFC 2047).
    ///
    /// White space between adjacent words is dropped, and words of the same charset are joined
    /// before they are converted, so that a character may be divided between them. A word in an
    /// unknown charset, a malformed word, and raw 8-bit bytes outside words are left unchanged.
    /// Malformed sequences inside a word become U+FFFD.
    ///
    /// @return `text` itself when it has no encoded word; empty when memory runs out.
    ///
    ///   Decoding::Words("=?utf-8?Q?Gr=C3=BC=C3?= =?utf-8?Q?=9Fe?=");   // "Gr\u00FC\u00DFe"
    static AnsiStr Words(const AnsiStr& text) noexcept;

    /// The same for address lists: From, To, Cc and similar fields (RFC 5322, 3.4).
    ///
    /// Display names, comments and quoted-strings are decoded, addresses are not. (RFC 2047, 5
    /// forbids encoded words in quoted-strings, but many senders write them.) A decoded display
    /// name is put in quotes where it needs them, so no name can become an address or a second
    /// mailbox.
    ///
    ///   Decoding::AddressWords("=?utf-8?Q?Doe=2C_John?= <a@b>");   // "\"Doe, John\" <a@b>"
    static AnsiStr AddressWords(const AnsiStr& text) noexcept;

    /// The result of Parameter.
    struct KIV_EXPORT ParameterResult {
        AnsiStr value;                ///< UTF-8, except for raw 8-bit bytes, which are kept
        bool found = false;           ///< there is a parameter of that name, in any form
        bool conflicting = false;     ///< the plain and the extended form have different values
        bool hadEncodedWord = false;  ///< `value` comes from encoded words (RFC 2047)
    };

    /// The value of a parameter by its plain name: from "name*" or the sections "name*0", "name*1*"
    /// ... up to the first missing one (RFC 2231), else from "name", where encoded words are
    /// decoded.
    ///
    /// When the charset of an extended form is unknown, the plain form is used if there is one;
    /// otherwise the value is read as us-ascii. The map is not changed.
    /// @return when memory runs out, the same as for a missing parameter, with the last error
    ///         kErrorNotEnoughMemory.
    static ParameterResult Parameter(const ParameterMap& parameters, const AnsiStr& name) noexcept;

    /// A decoded body, and what had to be tolerated in its text. Offsets are in bytes of the text;
    /// an offset is valid only when its count is not 0.
    struct KIV_EXPORT BodyResult {
        AnsiStr body;           ///< may contain NULs
        bool complete = false;  ///< false when memory ran out; `body` is then empty

        /// Quoted-printable: each "=" that does not begin an escape, which is kept. Base64: each
        /// character outside the alphabet except white space, and each misplaced "=".
        unsigned long long malformed = 0;
        unsigned long long firstMalformed = 0;
        /// Quoted-printable: lines with white space at the end, which is dropped (RFC 2045, 6.7
        /// (3)). Base64: spaces and tabs.
        unsigned long long blanks = 0;
        unsigned long long firstBlank = 0;
        /// Base64: runs of groups that end with too little padding.
        unsigned long long missingPadding = 0;
        unsigned long long firstMissingPadding = 0;
        /// Base64: runs of groups that begin after the padding of another; they are decoded.
        unsigned long long afterPadding = 0;
        unsigned long long firstAfterPadding = 0;
    };

    /// Decodes a quoted-printable body (RFC 2045, 6.7). Line ends, CR LF or LF, are kept.
    static BodyResult QuotedPrintable(const char* text, unsigned size) noexcept;

    /// Decodes a base64 body (RFC 2045, 6.8). Characters outside the alphabet are skipped.
    static BodyResult Base64(const char* text, unsigned size) noexcept;

    /// The result of ToUtf8.
    struct KIV_EXPORT TextResult {
        AnsiStr text;                     ///< UTF-8; empty for an unknown charset
        bool known = false;               ///< the charset is known
        unsigned long long replaced = 0;  ///< malformed sequences, each now U+FFFD
    };

    /// Converts a decoded body from its charset to UTF-8.
    ///
    /// The charsets of the system are known, under their usual names in mail. An empty name means
    /// us-ascii (RFC 2045, 5.2). When memory runs out, or the text would exceed
    /// AnsiStr::kMaxLength, `text` is empty although `known` is set.
    static TextResult ToUtf8(const char* body, unsigned size, const AnsiStr& charset) noexcept;

    /// Joins the lines of a format=flowed text (RFC 3676) into paragraphs, one per line, each ending
    /// in CR LF. Space-stuffing is removed; a quoted paragraph begins with "> " for each level.
    ///
    /// @param text         the decoded body; lines end in CR LF or LF.
    /// @param deleteSpace  the parameter "delsp=yes" is set: the space that marks a flowed line is
    ///                     not part of the text.
    /// @return empty when memory runs out.
    static AnsiStr FlowedToParagraphs(const AnsiStr& text, bool deleteSpace) noexcept;
};

}  // namespace MIME
