#pragma once

#include <string_view>

#include "kivgui/kivgui.h"

namespace MIME {

using KivGuiBase::AnsiStr;
using KivGuiBase::SharedArray;

/// How the reader departs from its exact rules, to read mail as it really is.
///
/// Every field is off, and every limit 0 (none), in a fresh object: `Part::Read` then reads
/// exactly as without options. `Mail()` turns on what mail needs. A plain value; copy it freely.
struct KIV_EXPORT ReadOptions {
    /// @name Lines
    /// @{
    bool lineFeeds = false;  ///< LF alone ends a line too (RFC 5322, 2.3 wants CR LF)
    bool nuls = false;       ///< a NUL is a character like others (RFC 5322, 4)
    bool mboxLine = false;   ///< a first line that begins with "From " is passed over (RFC 4155)
    /// @}

    /// @name Header blocks
    /// @{
    bool unfold = false;  ///< lines that begin with white space continue a field (RFC 5322, 2.2.3)
    bool openHeaders = false;  ///< a header block may end with the text, at a delimiter, or at a
                               ///< line that is no field, which then begins the body
    bool firstFieldCounts = false;  ///< of a repeated field the map keeps the first, not the last
    /// Content-Type, Content-Disposition and Content-Transfer-Encoding are read with comments and
    /// quoted-strings (RFC 2045, 5.1); every other field is text and is not split at ";".
    bool structuredFields = false;
    /// Fields and parameters come as UTF-8: encoded words (RFC 2047) and parameter sections (RFC
    /// 2231), these under the plain name. Text of an unknown character set stays encoded.
    bool decodeFields = false;
    /// Fills `Part::fields`, `preamble` and `epilogue`: what the tree has no other place for.
    bool keepSource = false;
    /// @}

    /// @name Structure
    /// @{
    bool singlePart = false;  ///< the entity at the top need not be multipart
    /// A delimiter is a whole line, with blanks behind it at most, and that of any enclosing
    /// entity ends those inside (RFC 2046, 5.1.1).
    bool wholeLineDelimiters = false;
    bool openEnd = false;  ///< the closing delimiters at the end of the text may be missing
    /// A multipart entity that has no boundary, or whose delimiter never comes, is one body.
    bool multipartAsBody = false;
    /// message/rfc822 and message/global (RFC 2046, 5.2.1; RFC 6532) are read into a child, and
    /// `Info::isMessage` is set. With a transfer encoding they stay a body.
    bool messages = false;
    bool ignoreContentLength = false;  ///< Content-Length does not say where a body ends
    /// @}

    /// @name Bodies
    /// @{
    bool anyTransferEncoding =
        false;  ///< an unknown encoding: the body as it stands (RFC 2045, 6.4)
    /// base64 with blanks, other characters, missing padding, several padded runs (RFC 2045, 6.8).
    bool lenientBase64 = false;
    /// White space at the end of a quoted-printable line goes (RFC 2045, 6.7 (3)), line ends stay
    /// as they are, and the last one belongs to the delimiter (RFC 2046, 5.1.1).
    bool lenientQuotedPrintable = false;
    bool bodiesInMemory =
        false;  ///< bodies go to `Data::content`, those above `memoryLimit` to files
    unsigned memoryLimit = 0x400000;  ///< bytes of one decoded body
    /// A reading that fails removes every body file that it made.
    bool removeFilesOnFailure = false;
    /// @}

    /// @name Limits
    /// Past one of them reading stops with a message that names it. 0 is no limit.
    /// @{
    unsigned maxDepth = 0;                   ///< levels of entities; the top is the first
    unsigned maxParts = 0;                   ///< entities, the top included
    unsigned maxFields = 0;                  ///< fields of one header block
    unsigned long long maxHeaderBytes = 0;   ///< bytes of one header block
    unsigned long long maxDecodedBytes = 0;  ///< bytes of all bodies together
    /// @}

    /// Everything above on, except `bodiesInMemory`. Limits: 256 levels, 100,000 entities, 10,000
    /// fields and 4 MiB for a header block, 4 GiB of bodies.
    static ReadOptions Mail() noexcept;
};

/// What the reader found that the RFCs do not allow, and read all the same.
namespace Deviation {
enum keys : unsigned {
#define MIME_DEVIATION(name, severity, text) name,
#include "mime/parser/deviations.inc"
};

/// What a deviation may do to those who trust the reading.
enum class Severity : unsigned {
    harmless,   ///< every program reads it alike
    repaired,   ///< what was meant is clear, though not every program makes it out
    ambiguous,  ///< two programs may read two different messages
};

/// The name of the key, as it stands above; empty for a value that is none.
KIV_EXPORT AnsiStr GetName(keys key) noexcept;
/// A sentence without a full stop; empty for a value that is none.
KIV_EXPORT AnsiStr GetStr(keys key) noexcept;
KIV_EXPORT Severity GetSeverity(keys key) noexcept;
}  // namespace Deviation

/// What `Part::Read` has to say about a text beside the tree.
struct KIV_EXPORT ReadReport {
    struct Entry {
        Deviation::keys kind = Deviation::invalid;
        unsigned long long offset = 0;  ///< in bytes from the start of the text
        AnsiStr path;  ///< of the entity: "" is the top, "2.1" the first child of its second
    };

    /// In the order in which they were found: each kind once for an entity, harmless ones once for
    /// the text, with their first places.
    SharedArray<Entry> deviations;
    unsigned long long omitted = 0;  ///< deviations behind the first kMaxEntries
    static constexpr unsigned kMaxEntries = 1000;

    bool failed = false;                   ///< `Part::Read` gave false, and these two say where
    unsigned long long failureOffset = 0;  ///< where reading stopped
    AnsiStr failurePath;

    /// The worst severity of all deviations, those omitted too; harmless when there are none.
    Deviation::Severity worst = Deviation::Severity::harmless;
};

/// The fields of a header block as they stood: all of them, in order, nothing decoded.
///
/// The texts live in the list and are valid as long as it is.
class KIV_EXPORT FieldList {
public:
    struct Field {
        std::string_view name;
        std::string_view value;  ///< folds included, without the last line end; outer blanks gone
    };

    unsigned GetCount() const noexcept { return places_.GetCount(); }
    /// The field at `index`, which must be below the count.
    Field operator[](unsigned index) const noexcept;

    /// The whole block, without the empty line behind it; also what is no field, and an mbox line
    /// before it.
    const AnsiStr& GetText() const noexcept { return text_; }

private:
    friend class HeaderSource;
    struct Place {
        unsigned name, nameEnd, value, valueEnd;
    };

    AnsiStr text_;
    SharedArray<Place> places_;
};

}  // namespace MIME
