#include "mime/read_options.h"

#include <iterator>

#include "mime/parser/read_state.h"

namespace MIME {

ReadOptions ReadOptions::Mail() noexcept {
    ReadOptions mail;
    mail.rules = Rules::mail;
    mail.ownFiles = mail.removeFilesOnFailure = true;
    mail.maxDepth = 256;
    mail.maxParts = 100000;
    mail.maxFields = 10000;
    mail.maxHeaderBytes = 0x400000;
    mail.maxDecodedBytes = 0x100000000;
    return mail;
}

Switches::Switches(const ReadOptions& how) noexcept {
    const bool mail = how.rules == Rules::mail;
    lineFeeds = nuls = mboxLine = mail;
    unfold = openHeaders = firstFieldCounts = mail;
    structuredFields = decodeFields = keepSource = mail;
    singlePart = wholeLineDelimiters = openEnd = mail;
    multipartAsBody = messages = ignoreContentLength = mail;
    anyTransferEncoding = lenientBase64 = lenientQuotedPrintable = mail;
    bodiesInMemory = how.bodies == Bodies::memory;
    memoryLimit = how.memoryLimit;
    removeFilesOnFailure = how.removeFilesOnFailure;
    ownFiles = how.ownFiles;
    maxDepth = how.maxDepth;
    maxParts = how.maxParts;
    maxFields = how.maxFields;
    maxHeaderBytes = how.maxHeaderBytes;
    maxDecodedBytes = how.maxDecodedBytes;
}

namespace Deviation {

namespace {

struct Row {
    const char* name;
    Severity severity;
    const char* text;
};

constexpr Row kRows[] = {
#define MIME_DEVIATION(name, severity, text) {#name, Severity::severity, text},
#include "mime/parser/deviations.inc"
};

constexpr Row kNone = {"", Severity::harmless, ""};

const Row& GetRow(keys key) noexcept {
    return key != invalid && key < std::size(kRows) ? kRows[key] : kNone;
}

}  // namespace

AnsiStr GetName(keys key) noexcept {
    return GetRow(key).name;
}

AnsiStr GetStr(keys key) noexcept {
    return GetRow(key).text;
}

Severity GetSeverity(keys key) noexcept {
    return GetRow(key).severity;
}

}  // namespace Deviation

FieldList::Field FieldList::operator[](unsigned index) const noexcept {
    const std::string_view text = text_;
    const Place& place = places_[index];
    return {text.substr(place.name, place.nameEnd - place.name),
            text.substr(place.value, place.valueEnd - place.value)};
}

}  // namespace MIME
