#pragma once

#include "kivgui/ansi_str.h"
#include "kivgui/export.h"

namespace MIME {

using KivGuiBase::AnsiStr;

class ParameterMap;

/// The decoders: what stands in header fields and bodies, as text and bytes. Pure functions, any
/// thread, linear in their input; nothing throws.
///
/// They read what mail programs send, not only what the RFCs allow; docs/decoding.md lists the
/// departures. Decoded header text never holds a CR, LF or NUL that did not stand bare in the
/// field: one that was encoded becomes a space, so that no field can end inside a value.
class KIV_EXPORT Decoding {
public:
    /// Decodes the encoded words of an unstructured field, such as Subject, to UTF-8 (RFC 2047).
    ///
    /// White space between adjacent words is dropped, and words of the same charset are joined
    /// before they are converted, so that a character may be divided between them. A word with
    /// an unknown charset, or that is malformed, stays as it stands, and so do raw 8-bit bytes
    /// outside words. Malformed sequences inside a word become U+FFFD.
    ///
    /// @return the same handle for a text without "=?"; empty when memory runs out.
    ///
    ///   Decoding::Words("=?utf-8?Q?Gr=C3=BC=C3?= =?utf-8?Q?=9Fe?=");   // "Gr\u00FC\u00DFe"
    static AnsiStr Words(const AnsiStr& text) noexcept;

    /// The same for address lists: From, To, Cc and the like (RFC 5322, 3.4).
    ///
    /// Display names, comments and quoted-strings are decoded (words in quoted-strings too, where
    /// RFC 2047, 5 forbids them but many senders write them); addresses are not. A display name
    /// that cannot stand bare once it is decoded is put in quotes, so no name can become an
    /// address or a second mailbox.
    ///
    ///   Decoding::AddressWords("=?utf-8?Q?Doe=2C_John?= <a@b>");   // "\"Doe, John\" <a@b>"
    static AnsiStr AddressWords(const AnsiStr& text) noexcept;

    struct KIV_EXPORT ParameterResult {
        AnsiStr value;                ///< UTF-8, except for raw 8-bit bytes, which stay
        bool found = false;           ///< there is a parameter of that name, in whatever form
        bool conflicting = false;     ///< the plain and the extended form say different things
        bool hadEncodedWord = false;  ///< `value` comes from encoded words (RFC 2047)
    };

    /// The value of a parameter by its plain name: from "name*" or the sections "name*0",
    /// "name*1*" ... up to the first that is missing (RFC 2231), else from "name", where encoded
    /// words are decoded.
    ///
    /// An extended form in an unknown charset gives way to a plain one; alone it is read as
    /// us-ascii. The map is not changed.
    static ParameterResult Parameter(const ParameterMap& parameters, const AnsiStr& name) noexcept;

    /// A decoded body, and what had to be tolerated in its text. Offsets count bytes of the text
    /// and mean something only when their count or flag is set.
    struct KIV_EXPORT BodyResult {
        AnsiStr body;           ///< bytes, NULs among them
        bool complete = false;  ///< false when memory ran out; `body` is then empty

        /// Quoted-printable: each "=" that begins no escape, kept as it stands. Base64: each
        /// character outside the alphabet, white space apart, and each "=" out of place.
        unsigned long long malformed = 0;
        unsigned long long firstMalformed = 0;
        /// Quoted-printable: lines that ended in white space, which is dropped (RFC 2045, 6.7
        /// (3)). Base64: spaces and tabs.
        unsigned long long blanks = 0;
        unsigned long long firstBlank = 0;
        /// Base64: runs of groups that end without their whole padding.
        unsigned long long missingPadding = 0;
        unsigned long long firstMissingPadding = 0;
        /// Base64: runs of groups that begin behind the padding of another; they are decoded.
        unsigned long long behindPadding = 0;
        unsigned long long firstBehindPadding = 0;
    };

    /// Decodes a quoted-printable body (RFC 2045, 6.7). Line ends, CR LF or LF, stay as they are.
    static BodyResult QuotedPrintable(const char* text, unsigned size) noexcept;

    /// Decodes a base64 body (RFC 2045, 6.8), passing over what is not of the alphabet.
    static BodyResult Base64(const char* text, unsigned size) noexcept;

    struct KIV_EXPORT TextResult {
        AnsiStr text;                     ///< UTF-8; empty for an unknown charset
        bool known = false;               ///< is the charset known?
        unsigned long long replaced = 0;  ///< malformed sequences, each now U+FFFD
    };

    /// Converts a body, without its transfer encoding, from its charset to UTF-8.
    ///
    /// Known are the charsets of the system and the names for them that are usual in mail. An
    /// empty name means us-ascii (RFC 2045, 5.2). When memory runs out, or the text would pass
    /// AnsiStr::kMaxLength, `text` is empty though `known` is set.
    static TextResult ToUtf8(const char* body, unsigned size, const AnsiStr& charset) noexcept;

    /// Joins the lines of a format=flowed text (RFC 3676) to paragraphs, one a line, each ending
    /// in CR LF. Space-stuffing is taken off; quoted paragraphs begin with "> " per level.
    ///
    /// @param text         the decoded body; lines end in CR LF or LF.
    /// @param deleteSpace  the parameter "delsp=yes": the space that marks a flowed line is not
    ///                     part of the text.
    /// @return empty when memory runs out.
    static AnsiStr FlowedToParagraphs(const AnsiStr& text, bool deleteSpace) noexcept;
};

}  // namespace MIME
