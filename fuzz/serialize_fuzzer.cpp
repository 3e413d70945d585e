// Makes a tree, writes it with Part::Serialize, and reads the text by the mail rules: the same tree.

#include <cstddef>
#include <cstdint>

#include "fuzz/check.h"
#include "fuzz/tree_check.h"
#include "fuzz/tree_source.h"
#include "mime/mime.h"
#include "support/temp_folder.h"

namespace {

using MIME::AnsiStr;
using MIME::Deviation::Severity;
using MIME::Fuzz::Check;

/// What only looks dangerous, or comes of the tree's values: two that disagree, and a run of blanks that is
/// longer than a line, which folding leaves a line of its own.
bool IsHarmlessHere(MIME::Deviation::keys kind) {
    switch (kind) {
        case MIME::Deviation::boundaryIsPrefix:
        case MIME::Deviation::delimiterInsideLine:
        case MIME::Deviation::delimiterWithTail:
        case MIME::Deviation::conflictingFileNames:
        case MIME::Deviation::blankLineInHeader:
            return true;
        default:
            return GetSeverity(kind) != Severity::ambiguous;
    }
}

void CheckReport(const MIME::ReadReport& report) {
    for (const MIME::ReadReport::Entry& entry : report.deviations) {
        Check(IsHarmlessHere(entry.kind), GetName(entry.kind).GetStr());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const MIME::Test::TempFolder folder;
    MIME::Fuzz::TreeSource source({data, size}, MIME::Fuzz::Writer::serialize, folder);
    const AnsiStr text = source.GetTop().Serialize(false);
    Check(text == source.GetTop().Serialize(false), "the tree is not changed");

    MIME::ReadOptions options;
    options.rules = MIME::Rules::mail;
    options.bodies = MIME::Bodies::memory;
    options.memoryLimit = AnsiStr::kMaxLength;
    MIME::Part read;
    AnsiStr error;
    MIME::ReadReport report;
    Check(read.Read(text.GetStr(), text.GetLength(), error, options, &report),
          "what was written can be read");
    CheckReadBack(source, read, MIME::Fuzz::Writer::serialize);
    CheckReport(report);
    return 0;
}
