#pragma once

#include <string>
#include <vector>

#include "mime/mime.h"
#include "mime/parser/cursor.h"

namespace MIME {

struct Switches {
    bool lineFeeds = false;
    bool nuls = false;
    bool mboxLine = false;

    bool unfold = false;
    bool openHeaders = false;

    bool firstFieldCounts = false;

    bool structuredFields = false;

    bool decodeFields = false;

    bool keepSource = false;

    bool singlePart = false;

    bool wholeLineDelimiters = false;
    bool openEnd = false;

    bool multipartAsBody = false;

    bool messages = false;
    bool ignoreContentLength = false;

    bool anyTransferEncoding = false;

    bool lenientBase64 = false;

    bool lenientQuotedPrintable = false;
    bool bodiesInMemory = false;
    unsigned memoryLimit = 0x400000;

    bool removeFilesOnFailure = false;

    unsigned maxDepth = 0;
    unsigned maxParts = 0;
    unsigned maxFields = 0;
    unsigned long long maxHeaderBytes = 0;
    unsigned long long maxDecodedBytes = 0;

    bool ownFiles = false;
    explicit Switches(const ReadOptions& options) noexcept;
    Switches() = default;
};

/// What a reading carries from step to step: its place in the text, its options, and what it has
/// to report.
class ReadState {
public:
    /// @param text  the whole text; the cursor stands in it.
    ReadState(const char* text, Cursor& where, AnsiStr& message, const ReadOptions& how,
              ReadReport* whatFor) noexcept
        : cursor(where), error(message), options(how), text_(text), report_(whatFor) {}

    Cursor& cursor;
    AnsiStr& error;
    const Switches options;

    LineRules GetLineRules() const noexcept { return {options.lineFeeds, options.nuls}; }

    /// Reports what was tolerated at `where`, which points into the text. Of one kind only the
    /// first in an entity counts; of a harmless one the first in the text.
    void Note(Deviation::keys kind, const char* where);
    bool WantsNotes() const noexcept { return report_ != nullptr; }

    /// Sets the message; false, to be returned.
    bool Fail(const AnsiStr& message) noexcept {
        error = message;
        return false;
    }
    /// Where a reading that has failed stands.
    void NoteFailure() noexcept;

    /// The entities from here on are children of the one before, until LeaveEntity.
    void EnterEntity(unsigned number);
    void LeaveEntity() noexcept { entities_.pop_back(); }

    /// Counts an entity. @return false, with a message, when that is one too many.
    bool CountPart() noexcept;
    /// @return false, with a message, when there must not be another level.
    bool CheckDepth(size_t levels) noexcept;
    /// Counts bytes of a body. @return false when they are too many.
    bool CountDecoded(unsigned long long size) noexcept;

    /// Body files that go when reading fails.
    void KeepInMind(const File& file);
    void RemoveFiles() noexcept;

    std::string scratch;  ///< for the text of a field that is unfolded

private:
    AnsiStr MakePath() const noexcept;

    struct Entity {
        unsigned number;     ///< among the children of the one outside, from 1
        uint64_t noted = 0;  ///< kinds of deviations that it has in the report
    };

    const char* text_;
    ReadReport* report_;
    std::vector<Entity> entities_;  ///< below the top, down to the current one
    Entity top_{0};
    unsigned parts_ = 0;
    unsigned long long decoded_ = 0;
    std::vector<File> files_;
};

}  // namespace MIME
