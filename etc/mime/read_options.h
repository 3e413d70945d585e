#pragma once

#include <string_view>

#include "kivgui/ansi_str.h"
#include "kivgui/export.h"
#include "kivgui/shared_array.h"

namespace MIME {

using KivGuiBase::AnsiStr;
using KivGuiBase::SharedArray;

/// Which texts the reader accepts as messages.
enum class Rules : unsigned {
    exact,  ///< one strict format: CR LF, unfolded fields, a multipart at the top
    mail,   ///< mail as it is sent; docs/mail.md lists what is tolerated and reported
};

/// Where the reader puts decoded bodies.
enum class Bodies : unsigned {
    files,   ///< each in a new temporary file that `Data::file` names
    memory,  ///< in `Data::content`; if larger than `ReadOptions::memoryLimit`, in files
};

/// How `Part::Read` reads. A plain value; copy it freely.
///
/// The defaults are the exact rules, bodies in files, and no limits.
struct KIV_EXPORT ReadOptions {
    Rules rules = Rules::exact;
    Bodies bodies = Bodies::files;
    unsigned memoryLimit = 0x400000;  ///< bytes of one decoded body, for `Bodies::memory`

    bool ownFiles = false;              ///< sets `Data::ownsFile`: the tree removes its body files
    bool removeFilesOnFailure = false;  ///< a failed reading leaves no body file

    /// @name Limits
    /// Reading stops when a limit is exceeded, with a message that names it. 0 means no limit.
    /// @{
    unsigned maxDepth = 0;                   ///< levels of entities; the top is the first
    unsigned maxParts = 0;                   ///< entities, including the top
    unsigned maxFields = 0;                  ///< fields of one header block
    unsigned long long maxHeaderBytes = 0;   ///< bytes of one header block
    unsigned long long maxDecodedBytes = 0;  ///< bytes of all bodies together
    /// @}

    /// For mail from strangers: the mail rules, files that are removed with the tree and after a
    /// failure, and these limits: 256 levels, 100,000 entities, 10,000 fields and 4 MiB for a
    /// header block, 4 GiB of bodies.
    static ReadOptions Mail() noexcept;
};

/// Things that the RFCs do not allow and that were read anyway.
namespace Deviation {
enum keys : unsigned {
#define MIME_DEVIATION(name, severity, text) name,
#include "mime/parser/deviations.inc"
};

/// How likely other programs are to read a deviation differently.
enum class Severity : unsigned {
    harmless,   ///< every program reads it the same way
    repaired,   ///< the meaning is clear, but not every program understands it
    ambiguous,  ///< two programs may read two different messages
};

/// The name of the enumerator; empty for any other value.
KIV_EXPORT AnsiStr GetName(keys key) noexcept;
/// A sentence without a full stop; empty for any other value.
KIV_EXPORT AnsiStr GetStr(keys key) noexcept;
KIV_EXPORT Severity GetSeverity(keys key) noexcept;
}  // namespace Deviation

/// What `Part::Read` reports about a text in addition to the tree.
struct KIV_EXPORT ReadReport {
    /// One deviation, and where it is.
    struct Entry {
        Deviation::keys kind = Deviation::invalid;
        unsigned long long offset = 0;  ///< in bytes from the start of the text
        AnsiStr path;  ///< of the entity: "" is the top, "2.1" the first child of its second
    };

    /// In the order in which they were found, each at its first place: each kind once per entity,
    /// or once per text if it is harmless.
    SharedArray<Entry> deviations;
    unsigned long long omitted = 0;  ///< deviations beyond one of the two limits below
    static constexpr unsigned kMaxEntries = 1000;
    static constexpr unsigned kMaxPathText = 0x100000;  ///< bytes of all paths together

    bool failed = false;                   ///< `Part::Read` returned false; the next two say where
    unsigned long long failureOffset = 0;  ///< where reading stopped
    AnsiStr failurePath;

    /// The worst severity of all deviations, including omitted ones; harmless when there are none.
    Deviation::Severity worst = Deviation::Severity::harmless;
};

/// All fields of a header block, in order, as they are in the text; nothing is decoded.
///
/// The texts belong to the list and are valid as long as the list exists.
class KIV_EXPORT FieldList {
public:
    /// One field; see FieldList for how long its texts are valid.
    struct Field {
        std::string_view name;
        std::string_view value;  ///< with its folds, without surrounding white space
    };

    unsigned GetCount() const noexcept { return places_.GetCount(); }
    /// The field at `index`, which must be below the count.
    Field operator[](unsigned index) const noexcept;

    /// The whole block, without the empty line after it. It includes lines that are not fields, and
    /// an mbox line before it.
    const AnsiStr& GetText() const noexcept { return text_; }

private:
    friend class TreeBuilder;
    struct Place {
        unsigned name, nameEnd, value, valueEnd;
    };

    AnsiStr text_;
    SharedArray<Place> places_;
};

}  // namespace MIME
