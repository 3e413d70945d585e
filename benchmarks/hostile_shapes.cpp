// Texts that are made to be expensive, read by the library, with what each reading took. One row for
// each shape, its columns separated by tabs; scripts/robustness.sh makes the table of
// docs/robustness.md from them.
//
// usage: hostile_shapes list                 the numbers and names of the shapes
//        hostile_shapes run NUMBER [DIVISOR] one row; exit status 1 when it breaks its bound
//        hostile_shapes count DIVISOR        under callgrind: every shape at n, 2n and 4n
// Sizes are divided by DIVISOR. Body files are made in TMPDIR, which should be empty.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "hostile_meter.h"
#include "kivgui/kivgui.h"
#include "mime/mime.h"

namespace {

using Hostile::Text;
using MIME::ReadOptions;

constexpr uint64_t kMega = 1 << 20;
constexpr uint64_t kGiga = 1 << 30;

struct Shape {
    const char* name;
    /// How it is read. The rules and limits are those of `options`.
    const char* how;
    ReadOptions options;
    /// The size; `make` gets it divided. 0 for a shape that is always made whole.
    uint64_t count;
    std::function<void(Text&, uint64_t count)> make;
    /// The error text; when it ends in a quote, only its beginning. Empty for success.
    std::string_view want;
    /// The bound of the memory at any time, in bytes for each byte of text that was looked at.
    double memory;
    /// The most bytes of the text that may be looked at; 0 for all of it.
    uint64_t touched = 0;
    /// What is done with the tree, whether reading failed or not.
    std::function<void(const MIME::Part&)> use = nullptr;
    bool hasReport = false;
};

// -------------------------------------------------------------------------------- the options --

ReadOptions Exact() {
    ReadOptions options;
    options.bodies = MIME::Bodies::memory;
    options.ownFiles = options.removeFilesOnFailure = true;
    return options;
}

/// The mail rules without limits.
ReadOptions Mail() {
    ReadOptions options = Exact();
    options.rules = MIME::Rules::mail;
    return options;
}

template <class Value>
ReadOptions With(ReadOptions options, Value ReadOptions::*member, Value value) {
    options.*member = value;
    return options;
}

// ---------------------------------------------------------------------------------- the texts --

constexpr std::string_view kMultipart = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
constexpr std::string_view kEnd = "\r\n--b--\r\n";

std::string Number(uint64_t number) {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%08llu", static_cast<unsigned long long>(number));
    return digits;
}

void AddTimes(Text& text, std::string_view piece, uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) text.Add(piece);
}

/// A message with one body of that encoding.
void BeginBody(Text& text, std::string_view encoding) {
    text.Add(kMultipart).Add("--b\r\nContent-Transfer-Encoding: ").Add(encoding).Add("\r\n\r\n");
}

/// @param isComplete  with the closing boundary lines.
void AddLevels(Text& text, uint64_t count, bool isComplete) {
    for (uint64_t i = 0; i < count; ++i) {
        const std::string boundary = Number(i);
        text.Add("Content-Type: multipart/mixed; boundary=").Add(boundary);
        text.Add("\r\n\r\n--").Add(boundary).Add("\r\n");
    }
    if (!isComplete) return;
    text.Add("\r\n");  // a body without fields
    for (uint64_t i = count; i-- > 0;) text.Add("\r\n--").Add(Number(i)).Add("--");
    text.Add("\r\n");
}

void MakeLevels(Text& text, uint64_t count) {
    AddLevels(text, count, true);
}

void MakeOpenLevels(Text& text, uint64_t count) {
    AddLevels(text, count, false);
}

void MakeMessages(Text& text, uint64_t count) {
    AddTimes(text, "Content-Type: message/rfc822\r\n\r\n", count);
}

void MakeParts(Text& text, uint64_t count) {
    text.Add(kMultipart);
    AddTimes(text, "--b\r\n\r\nx\r\n", count);
    text.Add(kEnd);
}

/// As short as they can be.
void MakeEmptyParts(Text& text, uint64_t count) {
    text.Add(kMultipart);
    AddTimes(text, "--b\n\n", count);
    text.Add(kEnd);
}

/// All children are the one that "start" names.
void MakeRoots(Text& text, uint64_t count) {
    text.Add("Content-Type: multipart/related; boundary=b; start=a\r\n\r\n");
    AddTimes(text, "--b\r\nContent-ID: a\r\n\r\nx\r\n", count);
    text.Add(kEnd);
}

void MakeFields(Text& text, uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) text.Add("X-").Add(Number(i)).Add(": v\r\n");
    text.Add(kMultipart).Add("--b\r\n\r\n").Add(kEnd);
}

/// The values of a field are merged by the exact rules.
void MakeSameFields(Text& text, uint64_t count) {
    AddTimes(text, "X: v\r\n", count);
    text.Add(kMultipart).Add("--b\r\n\r\n").Add(kEnd);
}

void MakeParameters(Text& text, uint64_t count) {
    text.Add("Content-Type: multipart/mixed; boundary=b");
    for (uint64_t i = 0; i < count; ++i) text.Add("; p").Add(Number(i)).Add("=v");
    text.Add("\r\n\r\n--b\r\n\r\n").Add(kEnd);
}

/// As short as they can be.
void MakeShortParameters(Text& text, uint64_t count) {
    constexpr std::string_view kLetters = "0123456789abcdefghijklmnopqrstuvwxyz";
    text.Add("Content-Type: multipart/mixed; boundary=b");
    for (uint64_t i = 0; i < count; ++i) {
        char parameter[] = ";name";
        uint64_t rest = i;
        for (char* c = parameter + 1; *c != '\0'; ++c, rest /= kLetters.size()) {
            *c = kLetters[rest % kLetters.size()];
        }
        text.Add(parameter);
    }
    text.Add("\r\n\r\n--b\r\n\r\n").Add(kEnd);
}

void MakeSections(Text& text, uint64_t count) {
    text.Add("Content-Type: multipart/mixed; boundary=b");
    for (uint64_t i = 0; i < count; ++i) {
        text.Add("; p*").Add(std::to_string(i)).Add(i == 0 ? "*=utf-8''%41" : "*=%41");
    }
    text.Add("\r\n\r\n--b\r\n\r\n").Add(kEnd);
}

void MakeWords(Text& text, uint64_t count) {
    text.Add("Subject:");
    AddTimes(text, " =?utf-8?Q?=C3=A9?=", count);
    text.Add("\r\n\r\n");
}

/// Each byte of a word is malformed, and becomes three.
void MakeMalformedWords(Text& text, uint64_t count) {
    text.Add("Subject:");
    for (uint64_t i = 0; i < count; ++i)
        text.Add(" =?utf-8?B?").Add(std::string(4000, '/')).Add("?=");
    text.Add("\r\n\r\n");
}

void MakeCharsets(Text& text, uint64_t count) {
    text.Add("Subject:");
    for (uint64_t i = 0; i < count; ++i) text.Add(" =?x").Add(Number(i)).Add("?Q?a?=");
    text.Add("\r\n\r\n");
}

void MakeCommas(Text& text, uint64_t count) {
    text.Add(kMultipart.substr(0, kMultipart.size() - 2)).Add("To: =?utf-8?Q?=C3=A9?= <a@b>");
    AddTimes(text, ",", count);
    text.Add("\r\n\r\n--b\r\n\r\n").Add(kEnd);
}

void MakeAddresses(Text& text, uint64_t count) {
    text.Add(kMultipart.substr(0, kMultipart.size() - 2)).Add("To: ");
    AddTimes(text, "=?utf-8?Q?=C3=A9?= <a@b>,", count);
    text.Add("\r\n\r\n--b\r\n\r\n").Add(kEnd);
}

void MakeComments(Text& text, uint64_t count) {
    text.Add("To: =?utf-8?Q?a?= ");
    AddTimes(text, "(", count);
    text.Add("\r\nContent-Type: text/plain; ");
    AddTimes(text, "(", count);
    text.Add("\r\n\r\n");
}

void MakeFolds(Text& text, uint64_t count) {
    text.Add("Subject: =?utf-8?Q?a?=");
    AddTimes(text, "\r\n x", count);
    text.Add("\r\n\r\n");
}

void MakeEmptyLines(Text& text, uint64_t count) {
    BeginBody(text, "8bit");
    AddTimes(text, "\r\n", count);
    text.Add(kEnd);
}

void MakeEmptyPreamble(Text& text, uint64_t count) {
    text.Add(kMultipart);
    AddTimes(text, "\r\n", count);
    text.Add("--b\r\n\r\n").Add(kEnd);
}

void MakeEmptyQuotedLines(Text& text, uint64_t count) {
    BeginBody(text, "quoted-printable");
    AddTimes(text, "\r\n", count);
    text.Add(kEnd);
}

void MakeLongField(Text& text, uint64_t size) {
    text.Add(kMultipart.substr(0, kMultipart.size() - 2)).Add("Subject: ").Add('a', size);
    text.Add("\r\n\r\n--b\r\n\r\n").Add(kEnd);
}

void MakeLongLine(Text& text, uint64_t size) {
    text.Add('a', size);
}

void MakeLongMboxLine(Text& text, uint64_t size) {
    text.Add("From ").Add('a', size);
}

void MakeLongLineAfterBoundary(Text& text, uint64_t size) {
    text.Add(kMultipart).Add("--b\r\n--").Add('a', size);
}

void MakeLongBody(Text& text, uint64_t size) {
    BeginBody(text, "8bit");
    text.Add('a', size).Add(kEnd);
}

template <void (*kMake)(Text&, uint64_t)>
void Make4GiB(Text& text, uint64_t /*count*/) {
    kMake(text, 4 * kGiga);
}

constexpr uint64_t kDashes = 100000;

void MakeDashes(Text& text, uint64_t count, uint64_t dashes) {
    text.Add("Content-Type: multipart/mixed; boundary=").Add(std::string(kDashes, '-'));
    text.Add("\r\n\r\n--").Add(std::string(kDashes, '-')).Add("\r\n\r\n");
    const std::string line = std::string(dashes, '-') + "\r\n";
    AddTimes(text, line, count);
    text.Add("--").Add(std::string(kDashes, '-')).Add("--\r\n");
}

/// Lines that are one dash too short for a boundary line.
void MakeShortDashes(Text& text, uint64_t count) {
    MakeDashes(text, count, kDashes + 1);
}

/// Lines that are no boundary lines, because they are two dashes and a letter too long.
void MakeDashesAndLetters(Text& text, uint64_t count) {
    text.Add("Content-Type: multipart/mixed; boundary=").Add(std::string(kDashes, '-'));
    text.Add("\r\n\r\n--").Add(std::string(kDashes, '-')).Add("\r\n\r\n");
    const std::string line = std::string(kDashes / 2, '-') + "a\r\n";
    AddTimes(text, line, count);
    text.Add("--").Add(std::string(kDashes, '-')).Add("--\r\n");
}

/// Each line ends inside a group.
void MakeOpenGroups(Text& text, uint64_t count) {
    BeginBody(text, "base64");
    text.Add("Q\r\n");
    AddTimes(text, "QUJD\r\n", count);
    text.Add("UJD").Add(kEnd);
}

void MakeWrongBase64(Text& text, uint64_t count) {
    BeginBody(text, "base64");
    text.Add("Q\r\n");
    AddTimes(text, "QUJD\r\n", count);
    text.Add("?JD").Add(kEnd);
}

void MakeEscapes(Text& text, uint64_t count) {
    BeginBody(text, "quoted-printable");
    AddTimes(text, "=", count);
    text.Add(kEnd);
}

/// Children that are multiparts without a boundary line.
void MakeUnused(Text& text, uint64_t count) {
    text.Add(kMultipart);
    for (uint64_t i = 0; i < count; ++i) {
        text.Add("--b\r\nContent-Type: multipart/mixed; boundary=").Add(Number(i));
        text.Add("\r\n\r\nx\r\n");
    }
    text.Add(kEnd);
}

/// The same, each inside the one before: every multipart has one boundary line, which begins a child
/// that has none; after it the text goes on in the child's parent.
void MakeNestedUnused(Text& text, uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) {
        const std::string boundary = Number(i);
        text.Add("Content-Type: multipart/mixed; boundary=").Add(boundary).Add("\r\n\r\n--");
        text.Add(boundary).Add("\r\nContent-Type: multipart/mixed; boundary=no").Add(boundary);
        text.Add("\r\n\r\nx\r\n--").Add(boundary).Add("\r\n");
    }
}

/// Children that each have several deviations.
void MakeDeviations(Text& text, uint64_t count) {
    text.Add(kMultipart);
    AddTimes(text, "--b\r\nContent-Transfer-Encoding: x\r\nA : b\r\n x\r\n", count);
    text.Add(kEnd);
}

// --------------------------------------------------------------- limits, reached and passed by one --

void MakeHeaderBytes(Text& text, uint64_t size) {
    constexpr std::string_view kRest = "X: \r\n";
    const uint64_t type = kMultipart.size() - 2;
    text.Add(kMultipart.substr(0, type)).Add("X: ").Add('a', size - type - kRest.size());
    text.Add("\r\n\r\n--b\r\n\r\n").Add(kEnd);
}

/// Children and the top.
void MakeEntities(Text& text, uint64_t count) {
    MakeParts(text, count - 1);
}

/// A multipart at every level but the last.
void MakeDepth(Text& text, uint64_t levels) {
    MakeLevels(text, levels - 1);
}

void MakeFieldCount(Text& text, uint64_t count) {
    MakeFields(text, count - 1);  // and Content-Type
}

void MakeBodyBytes(Text& text, uint64_t size) {
    MakeLongBody(text, size);
}

// ----------------------------------------------------------------------- what is done with a tree --

/// Looks at every field of the top.
void UseFields(const MIME::Part& part) {
    size_t length = 0;
    for (unsigned i = 0; i < part.fields.GetCount(); ++i) {
        const auto field = part.fields[i];
        length += field.name.size() + field.value.size();
    }
    if (length > part.fields.GetText().GetLength()) std::abort();
}

void Serialize(const MIME::Part& part) {
    if (part.Serialize(false).IsEmpty()) std::abort();
}

constexpr uint64_t kDiskLimit = 64 * kMega;

/// Looks at the body file that a failed reading left, and removes it.
void CheckFile(const MIME::Part& /*part*/) {
    constexpr uint64_t kOver = 0x80000;  // the limit is looked at after each piece
    namespace fs = std::filesystem;
    uint64_t size = 0;
    for (const auto& entry : fs::directory_iterator(fs::temp_directory_path())) {
        size += entry.file_size();
        fs::remove(entry.path());
    }
    if (size < kDiskLimit - kOver || size > kDiskLimit + kOver) std::abort();
}

void WalkMailboxes(const MIME::Part& part) {
    const auto* const to = part.headers.Find("To");
    MIME::MailboxParser mailboxes(to->value.value);
    while (mailboxes.ToNext()) {
        if (mailboxes.GetMailbox().IsEmpty()) std::abort();
    }
}

// --------------------------------------------------------------------------------- the shapes --

/// A limit, reached exactly and passed by one.
template <class Value>
void AddLimit(std::vector<Shape>& shapes, const char* name, Value ReadOptions::*member, Value limit,
              void (*make)(Text&, uint64_t), const char* error, double memory) {
    for (const ReadOptions& rules : {Exact(), ReadOptions::Mail()}) {
        const auto options =
            With(With(rules, member, limit), &ReadOptions::bodies, MIME::Bodies::memory);
        const char* const how = rules.rules == MIME::Rules::mail ? "mail, limits" : "exact, limit";
        for (const uint64_t more : {uint64_t{0}, uint64_t{1}}) {
            shapes.push_back({more == 0 ? name : "the same and one more", how, options, 0,
                              [=](Text& text, uint64_t) { make(text, limit + more); },
                              more == 0 ? "" : error, memory, 0, UseFields});
        }
    }
}

void AddLimits(std::vector<Shape>& shapes) {
    AddLimit(shapes, "256 levels", &ReadOptions::maxDepth, 256U, MakeDepth,
             "limit reached: more than 256 levels of entities", 30);
    AddLimit(shapes, "100,000 entities", &ReadOptions::maxParts, 100000U, MakeEntities,
             "limit reached: more than 100000 entities", 150);
    AddLimit(shapes, "10,000 fields", &ReadOptions::maxFields, 10000U, MakeFieldCount,
             "limit reached: more than 10000 fields in a header block", 30);
    AddLimit(shapes, "a header block of 4 MiB", &ReadOptions::maxHeaderBytes, 4ULL * kMega,
             MakeHeaderBytes, "limit reached: more than 4194304 bytes in a header block", 4);
    AddLimit(shapes, "bodies of 1 MiB", &ReadOptions::maxDecodedBytes, 1ULL * kMega, MakeBodyBytes,
             "limit reached: more than 1048576 bytes of bodies", 4);
}

std::vector<Shape> MakeShapes() {
    constexpr uint64_t kMillion = 1000000;
    const char* const kHeaderError = "limit reached: more than 4194304 bytes in a header block";
    const ReadOptions limited =
        With(ReadOptions::Mail(), &ReadOptions::bodies, MIME::Bodies::memory);
    const ReadOptions shortHeader = With(Exact(), &ReadOptions::maxHeaderBytes, 4ULL * kMega);
    const ReadOptions intoFiles = With(Exact(), &ReadOptions::bodies, MIME::Bodies::files);
    ReadOptions leftFiles =
        With(ReadOptions::Mail(), &ReadOptions::maxDecodedBytes, 1ULL * kDiskLimit);
    leftFiles.ownFiles = leftFiles.removeFilesOnFailure = false;
    const uint64_t header = 4 * kMega + 0x40000;
    std::vector<Shape> shapes = {
        {"multiparts in multiparts", "exact", Exact(), kMillion, MakeLevels, "", 30},
        {"multiparts in multiparts", "mail", Mail(), kMillion, MakeLevels, "", 30},
        {"multiparts in multiparts, serialized", "mail", Mail(), kMillion, MakeLevels, "", 30, 0,
         Serialize},
        {"multiparts in multiparts", "mail, limits", limited, kMillion, MakeLevels,
         "limit reached: more than 256 levels of entities", 30, header},
        {"messages in messages", "mail", Mail(), kMillion, MakeMessages, "", 60},
        {"parts", "exact", Exact(), kMillion, MakeParts, "", 150},
        {"parts", "mail", Mail(), kMillion, MakeParts, "", 150},
        {"shortest parts", "mail", Mail(), kMillion, MakeEmptyParts, "", 190},
        {"shortest parts in files", "mail", With(Mail(), &ReadOptions::bodies, MIME::Bodies::files),
         kMillion / 10, MakeEmptyParts, "", 350},
        {"parts, serialized", "mail", Mail(), kMillion, MakeParts, "", 150, 0, Serialize},
        {"parts in files", "exact", intoFiles, kMillion / 10, MakeParts, "", 200},
        {"parts that \"start\" names", "exact", Exact(), kMillion, MakeRoots, "", 60},
        {"fields", "exact", Exact(), kMillion, MakeFields, "", 30},
        {"fields", "mail", Mail(), kMillion, MakeFields, "", 30, 0, UseFields},
        {"fields, serialized", "mail", Mail(), kMillion, MakeFields, "", 30, 0, Serialize},
        {"fields", "mail, limits", limited, kMillion, MakeFields,
         "limit reached: more than 10000 fields in a header block", 30, header, UseFields},
        {"fields of one name", "mail", Mail(), kMillion, MakeSameFields, "", 8, 0, UseFields},
        {"parameters", "exact", Exact(), kMillion, MakeParameters, "", 30},
        {"parameters", "mail", Mail(), kMillion, MakeParameters, "", 30},
        {"shortest parameters", "mail", Mail(), kMillion, MakeShortParameters, "", 50},
        {"sections of a parameter", "mail", Mail(), kMillion, MakeSections, "", 30},
        {"encoded words", "mail", Mail(), kMillion, MakeWords, "", 6},
        {"encoded words, all bytes malformed", "mail", Mail(), 5000, MakeMalformedWords, "", 8},
        {"encoded words, each in another charset", "mail", Mail(), kMillion / 10, MakeCharsets, "",
         6},
        {"commas in an address list", "exact", Exact(), kMillion, MakeCommas, "", 6, 0,
         WalkMailboxes},
        {"commas in an address list", "mail", Mail(), kMillion, MakeCommas, "", 6, 0,
         WalkMailboxes},
        {"mailboxes", "mail", Mail(), kMillion, MakeAddresses, "", 6, 0, WalkMailboxes},
        {"comments that are not closed", "mail", Mail(), kMillion, MakeComments, "", 6},
        {"folds of a field", "mail", Mail(), kMillion, MakeFolds, "", 6},
        {"empty lines in a body", "exact", Exact(), 10 * kMillion, MakeEmptyLines, "", 3},
        {"empty lines in a body", "mail", Mail(), 10 * kMillion, MakeEmptyLines, "", 3},
        {"empty lines before the first part", "exact", Exact(), 10 * kMillion, MakeEmptyPreamble,
         "", 1},
        {"empty lines before the first part", "mail", Mail(), 10 * kMillion, MakeEmptyPreamble, "",
         2},
        {"empty lines, quoted-printable", "exact", Exact(), 10 * kMillion, MakeEmptyQuotedLines, "",
         3},
        {"empty lines, quoted-printable", "mail", Mail(), 10 * kMillion, MakeEmptyQuotedLines, "",
         3},
        {"bytes of a field", "exact", Exact(), kGiga, MakeLongField, "", 2},
        {"bytes of a field", "mail", Mail(), kGiga, MakeLongField, "", 4},
        {"bytes of a field", "mail, limits", limited, kGiga, MakeLongField, kHeaderError, 1, header,
         UseFields},
        {"bytes without a line end", "exact", Exact(), kGiga, MakeLongLine,
         "Unexpected header line: \"", 2},
        {"4 GiB without a line end", "exact", Exact(), 0, Make4GiB<MakeLongLine>, "line too long",
         1},
        {"4 GiB without a line end", "exact, limit", shortHeader, 0, Make4GiB<MakeLongLine>,
         kHeaderError, 1, header},
        {"4 GiB without a line end", "mail, limits", limited, 0, Make4GiB<MakeLongLine>,
         kHeaderError, 1, header, UseFields},
        {"4 GiB without a line end, after \"From \"", "mail, limits", limited, 0,
         Make4GiB<MakeLongMboxLine>, kHeaderError, 1, header, UseFields},
        {"4 GiB without a line end, in a part", "mail, limits", limited, 0,
         Make4GiB<MakeLongLineAfterBoundary>, kHeaderError, 1, header},
        {"body of 4 GiB, at most 64 MiB", "mail, limits",
         With(limited, &ReadOptions::maxDecodedBytes, 1ULL * kDiskLimit), 0, Make4GiB<MakeLongBody>,
         "limit reached: more than 67108864 bytes of bodies", 1, 66 * kMega},
        {"the same into a file", "mail, limits", leftFiles, 0, Make4GiB<MakeLongBody>,
         "limit reached: more than 67108864 bytes of bodies", 1, 66 * kMega, CheckFile},
        {"dashes against a boundary of 100,000", "exact", Exact(), 1000, MakeShortDashes, "", 4},
        {"dashes against a boundary of 100,000", "mail", Mail(), 1000, MakeShortDashes, "", 4, 0,
         nullptr, true},
        {"dashes and letters against the same", "exact", Exact(), 2000, MakeDashesAndLetters, "",
         4},
        {"dashes and letters against the same", "mail", Mail(), 2000, MakeDashesAndLetters, "", 4,
         0, nullptr, true},
        {"base64 lines that end inside a group", "exact", Exact(), 10 * kMillion, MakeOpenGroups,
         "", 4},
        {"base64 lines that end inside a group", "mail", Mail(), 10 * kMillion, MakeOpenGroups, "",
         3},
        {"base64 lines with a wrong character", "exact", Exact(), 10 * kMillion, MakeWrongBase64,
         "unexpected base64 data \"", 4},
        {"malformed escapes", "mail", Mail(), 10 * kMillion, MakeEscapes, "", 4},
        {"multiparts that never begin", "mail", Mail(), 20000, MakeUnused, "", 40},
        {"multiparts that never begin, nested", "mail", Mail(), 20000, MakeNestedUnused, "", 40},
        {"open levels with a report", "mail", Mail(), kMillion, MakeOpenLevels, "", 40, 0, nullptr,
         true},
        {"parts that break rules, with a report", "mail", Mail(), 100000, MakeDeviations, "", 60, 0,
         nullptr, true},
    };
    AddLimits(shapes);
    return shapes;
}

// ------------------------------------------------------------------------------- one reading --

struct Outcome {
    uint64_t count = 0;
    uint64_t size = 0;
    bool isSkipped = false;
    bool isRead = false;
    std::string error;
    Hostile::Counts counts;
    uint64_t touched = 0;
    double seconds = 0;
    uint64_t filesLeft = 0;
};

double GetCpuSeconds() {
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

uint64_t CountFiles() {
    const std::filesystem::directory_iterator files(std::filesystem::temp_directory_path());
    return static_cast<uint64_t>(std::distance(begin(files), end(files)));
}

bool ReadOnce(const Shape& shape, std::string_view text, MIME::AnsiStr& error) {
    MIME::Part part;
    MIME::ReadReport report;
    const bool isRead = part.Read(text.data(), text.size(), error, shape.options,
                                  shape.hasReport ? &report : nullptr);
    if (shape.use != nullptr) shape.use(part);
    if (report.deviations.GetCount() > report.kMaxEntries) std::abort();
    return isRead;
}

// --------------------------------------------------------------------------------- the bounds --

bool IsPrintable(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < '\x7F'; });
}

bool IsWanted(const Shape& shape, const Outcome& outcome) {
    if (outcome.isRead != shape.want.empty()) return false;
    return shape.want.ends_with('"') ? outcome.error.starts_with(shape.want)
                                     : outcome.error == shape.want;
}

/// What the bound of the memory allows for a text of which so much was looked at.
uint64_t GetMemoryBound(const Shape& shape, uint64_t touched) {
    constexpr uint64_t kFixed = 0x100000;  // buffers, and the texts of a report
    return kFixed + static_cast<uint64_t>(shape.memory * static_cast<double>(touched));
}

/// The bound that was broken; empty when all were kept.
std::string FindBroken(const Shape& shape, const Outcome& outcome) {
    constexpr int64_t kKept = 0x1000;  // by the C library
    constexpr size_t kLongestError = 200;
    const Hostile::Counts& counts = outcome.counts;
    // By the exact rules an error text may quote the line.
    const bool isQuoted = shape.want.ends_with('"');
    if (!IsWanted(shape, outcome)) return "RESULT";
    if (!isQuoted && outcome.error.size() > kLongestError) return "ERROR TEXT";
    if (!isQuoted && !IsPrintable(outcome.error)) return "ERROR TEXT";
    if (static_cast<uint64_t>(counts.peak) > GetMemoryBound(shape, outcome.touched))
        return "MEMORY";
    if (counts.left > kKept) return "LEAK";
    if (shape.touched != 0 && outcome.touched > shape.touched) return "LOOKED AT";
    if (outcome.filesLeft != 0) return "FILES";
    return {};
}

/// Leaves the outcome empty but for the size when the machine has too little memory.
Outcome Measure(const Shape& shape, uint64_t count, const std::string& name) {
    Text source;
    shape.make(source, count);
    const std::string_view text = source.Map();
    Outcome outcome;
    outcome.count = count;
    outcome.size = text.size();
    const uint64_t looked = shape.touched != 0 ? shape.touched : text.size();
    outcome.isSkipped =
        text.empty() || GetMemoryBound(shape, looked) > Hostile::GetAvailableMemory();
    if (outcome.isSkipped) return outcome;

    const uint64_t before = CountFiles();
    MIME::AnsiStr error;
    const double start = GetCpuSeconds();
    Hostile::StartCounting();
    Hostile::StartInstructions();
    outcome.isRead = ReadOnce(shape, text, error);
    Hostile::StopInstructions(name);
    outcome.counts = Hostile::GetCounts();
    outcome.seconds = GetCpuSeconds() - start;
    outcome.touched = source.CountTouched();
    outcome.counts.left -= static_cast<int64_t>(error.GetCapacity());
    outcome.error = std::string_view(error);
    outcome.filesLeft = CountFiles() - before;
    return outcome;
}

void Print(const Shape& shape, const Outcome& outcome, const std::string& verdict) {
    constexpr size_t kLongestResult = 60;
    const auto number = [](auto n) { return static_cast<unsigned long long>(n); };
    const std::string result = outcome.isRead ? "read" : outcome.error.substr(0, kLongestResult);
    std::printf("%s\t%s\t%llu\t%llu\t%s\t%lld\t%llu\t%llu\t%llu\t%.2f\t%s\n", shape.name, shape.how,
                number(outcome.count), number(outcome.size), result.c_str(),
                static_cast<long long>(outcome.counts.peak), number(outcome.counts.allocated),
                number(outcome.counts.allocations), number(outcome.touched), outcome.seconds,
                verdict.c_str());
}

/// What is made once in a process is not part of any count: tables, the charsets of the C library.
void WarmUp() {
    constexpr std::string_view kText =
        "To: =?utf-8?Q?a?= =?latin1?Q?a?= =?x-none?Q?a?= <a@b>\r\n"
        "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n"
        "Content-Type: image/png\r\n\r\nx\r\n--b--\r\n";
    for (const ReadOptions& options : {Exact(), Mail()}) {
        MIME::Part part;
        MIME::AnsiStr error;
        part.Read(kText.data(), kText.size(), error, options);
        Serialize(part);
    }
}

int Run(const Shape& shape, uint64_t divisor) {
    const Outcome outcome = Measure(shape, shape.count / divisor, "run");
    if (outcome.isSkipped) {
        Print(shape, outcome, "skipped: too little memory");
        return 0;
    }
    const std::string broken = FindBroken(shape, outcome);
    Print(shape, outcome, broken.empty() ? "kept" : broken);
    return broken.empty() ? 0 : 1;
}

int CountInstructions(const std::vector<Shape>& shapes, uint64_t divisor) {
    for (size_t i = 0; i < shapes.size(); ++i) {
        for (const uint64_t times : {uint64_t{1}, uint64_t{2}, uint64_t{4}}) {
            if (shapes[i].count == 0) continue;
            const uint64_t count = shapes[i].count / divisor * times;
            Measure(shapes[i], count, std::to_string(i) + " " + std::to_string(times));
        }
    }
    return 0;
}

int List(const std::vector<Shape>& shapes) {
    for (size_t i = 0; i < shapes.size(); ++i) {
        std::printf("%zu\t%s\t%s\n", i, shapes[i].name, shapes[i].how);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<Shape> shapes = MakeShapes();
    WarmUp();
    const std::string_view command = argc > 1 ? argv[1] : "";
    const auto argument = [&](int i) {
        return argc > i ? std::strtoull(argv[i], nullptr, 10) : 1ULL;
    };
    if (command == "list") return List(shapes);
    if (command == "count" && argument(2) > 0) return CountInstructions(shapes, argument(2));
    if (command == "run" && argc > 2 && argument(2) < shapes.size() && argument(3) > 0) {
        return Run(shapes[argument(2)], argument(3));
    }
    std::fprintf(stderr, "usage: %s list | run NUMBER [DIVISOR] | count DIVISOR\n", argv[0]);
    return 2;
}
