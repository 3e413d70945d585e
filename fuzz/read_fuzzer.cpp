// Reads a text by options that the first eight bytes choose, and looks at all that can be looked at
// afterwards, failed or not: limits hold, no file is left that must not be, nothing is outside its text.
// What was read can be written, whatever the text holds.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/byte_source.h"
#include "fuzz/check.h"
#include "fuzz/text_mutator.h"
#include "mime/mime.h"
#include "support/temp_folder.h"

namespace {

using MIME::AnsiStr;
using MIME::Bodies;
using MIME::File;
using MIME::HeaderMap;
using MIME::Part;
using MIME::ReadOptions;
using MIME::ReadReport;
using MIME::Rules;
using MIME::Fuzz::Check;
using MIME::Fuzz::CheckEqual;
using MIME::Test::TempFolder;

constexpr size_t kOptionBytes = 8;
constexpr std::string_view kTextFile = "text";
constexpr std::string_view kWrittenFile = "written";

struct Setup {
    ReadOptions options;
    bool hasReport = false;
    bool isInFile = false;
    bool isCompared = false;  ///< with a reading that stores bodies elsewhere
    const char* contentType = nullptr;
    std::string_view text;
};

/// '0' in all eight bytes stands for a fresh ReadOptions.
Setup MakeSetup(MIME::Fuzz::ByteSource source) {
    constexpr unsigned kMemoryLimits[] = {0x400000, 0, 1, 100, 5000, 0x7FFFFFFF};
    constexpr const char* kContentTypes[] = {"multipart/related; boundary=a; start=\"<1>\"",
                                             "multipart/mixed; boundary=\"b c\"", "message/rfc822",
                                             "text/plain", ""};
    Setup setup;
    ReadOptions& options = setup.options;
    const unsigned flags = source.TakeNumber();
    options.rules = (flags & 1) != 0 ? Rules::mail : Rules::exact;
    options.bodies = (flags & 2) != 0 ? Bodies::memory : Bodies::files;
    options.ownFiles = (flags & 4) != 0;
    options.removeFilesOnFailure = (flags & 8) != 0;
    setup.hasReport = (flags & 16) != 0;
    setup.isInFile = (flags & 64) != 0;
    setup.isCompared = (flags & 128) != 0;
    options.memoryLimit = kMemoryLimits[source.TakeNumber() % std::size(kMemoryLimits)];
    options.maxDepth = source.TakeNumber();
    options.maxParts = source.TakeNumber();
    options.maxFields = source.TakeNumber();
    const unsigned headerRoot = source.TakeNumber();
    options.maxHeaderBytes = headerRoot * headerRoot;
    const unsigned bodyRoot = source.TakeNumber();
    options.maxDecodedBytes = bodyRoot * bodyRoot * 4;
    const unsigned type = source.TakeNumber();
    if ((flags & 32) != 0) setup.contentType = kContentTypes[type % std::size(kContentTypes)];
    setup.text = source.GetRest();
    return setup;
}

// ---------------------------------------------------------------------------- what was read --

struct Placed {
    const Part* part;
    unsigned depth;  ///< of the top: 1
};

/// All entities, parents before children. Not recursive: texts nest deeply.
std::vector<Placed> List(const Part& top) {
    std::vector<Placed> listed{{&top, 1}};
    for (size_t i = 0; i < listed.size(); ++i) {
        const Placed place = listed[i];
        for (const Part* child : place.part->parts) {
            Check(child != nullptr, "children are there");
            listed.push_back({child, place.depth + 1});
        }
    }
    return listed;
}

uint64_t GetBodySize(const Part& part) {
    if (part.data.file.IsEmpty()) return part.data.content.GetLength();
    const int64_t size = part.data.file.GetSize();
    Check(size >= 0, "a body's file is there");
    return static_cast<uint64_t>(size);
}

std::string GetBody(const Part& part) {
    return part.data.file.IsEmpty() ? std::string(part.data.content)
                                    : MIME::Test::ReadWholeFile(part.data.file.GetPath());
}

/// A value must not be able to end its field and begin another.
void CheckLines(std::string_view text, size_t fields) {
    size_t begun = 0;
    for (size_t start = 0; start < text.size();) {
        const size_t end = text.find("\r\n", start);
        Check(end != std::string_view::npos && end != start, "text is lines, none of them empty");
        if (text[start] != ' ' && text[start] != '\t') ++begun;
        start = end + 2;
    }
    Check(begun <= fields, "no line that begins a field is made of a value");
}

void CheckHeaders(const HeaderMap& headers) {
    const HeaderMap::Node* before = nullptr;
    size_t fields = 0;
    bool hasPlainNames = true;
    for (const HeaderMap::Node& field : headers) {
        Check(before == nullptr ||
                  AnsiStr::Compare(before->key.GetStr(), field.key.GetStr(), true) < 0,
              "fields are in order, each once");
        before = &field;
        ++fields;
        const std::string_view name = field.key;
        hasPlainNames = hasPlainNames && !name.empty() &&
                        name.find_first_of("\r\n\t ") == std::string_view::npos;
        for (const auto& parameter : field.value.parameters) {
            Check(!parameter.value.raw, "the reader makes no raw parameter");
        }
    }
    for (const bool contentOnly : {false, true}) {
        const AnsiStr text = headers.Serialize(contentOnly, false);
        if (hasPlainNames) CheckLines(text, fields);
    }
}

/// Looks at everything that one reading left.
class ReadCheck {
public:
    ReadCheck(const Setup& setup, const Part& top, bool isRead, const TempFolder& folder)
        : setup_(setup),
          options_(setup.options),
          isRead_(isRead),
          folder_(folder),
          all_(List(top)) {}

    void CheckAll() const {
        for (const Placed& place : all_) CheckPart(*place.part);
        CheckLimits();
        CheckFiles();
    }

private:
    void CheckPart(const Part& part) const {
        Check(part.rawText.IsEmpty() && part.info.charset.IsEmpty(),
              "the host's members are empty");
        Check(!part.data.encoded && !part.data.topLevel, "the host's flags are not set");
        CheckHeaders(part.headers);
        CheckFieldList(part);
        CheckStructure(part);
        CheckPlace(part);
    }

    void CheckFieldList(const Part& part) const {
        if (options_.rules == Rules::exact) {
            Check(part.fields.GetCount() == 0 && part.fields.GetText().IsEmpty() &&
                      part.preamble.IsEmpty() && part.epilogue.IsEmpty() && !part.info.isMessage,
                  "the exact rules keep nothing beside the tree");
        }
        const std::string_view text = part.fields.GetText();
        Check(text.size() <= setup_.text.size(), "a header block is not larger than the text");
        Check(part.preamble.GetLength() + part.epilogue.GetLength() <= setup_.text.size(),
              "nor is what surrounds the children");
        const char* end = text.data();
        for (unsigned i = 0; i < part.fields.GetCount(); ++i) {
            const auto [name, value] = part.fields[i];
            Check(name.data() >= end && name.data() + name.size() <= value.data() &&
                      value.data() + value.size() <= text.data() + text.size(),
                  "fields are in the block, one after another");
            end = value.data() + value.size();
        }
    }

    void CheckStructure(const Part& part) const {
        if (part.parts.IsEmpty()) return;
        Check(part.data.content.IsEmpty() && part.data.file.IsEmpty(),
              "children or a body, not both");
        if (part.info.isMessage) {
            Check(part.parts.GetCount() == 1, "a message carries one message");
        } else {
            Check(!part.info.boundary.IsEmpty(), "children have a boundary between them");
        }
    }

    void CheckPlace(const Part& part) const {
        const MIME::Data& data = part.data;
        Check(data.content.IsEmpty() || data.file.IsEmpty(), "a body is in one place");
        Check(data.file.IsEmpty() || data.ownsFile == options_.ownFiles,
              "files are owned as wished");
        Check(!data.file.IsEmpty() || !data.ownsFile, "no file, nothing owned");
        if (options_.bodies == Bodies::files) {
            Check(data.content.IsEmpty(), "no body is in memory");
        } else {
            Check(data.content.GetLength() <= options_.memoryLimit, "large bodies are in files");
            Check(!isRead_ || data.file.IsEmpty() || GetBodySize(part) > options_.memoryLimit,
                  "small bodies are in memory");
        }
        constexpr unsigned kLineEnd = 2;
        Check(GetBodySize(part) <= setup_.text.size() + kLineEnd,
              "no body is larger than the text");
    }

    void CheckLimits() const {
        Check(options_.maxParts == 0 || all_.size() <= options_.maxParts, "not too many entities");
        uint64_t decoded = 0;
        for (const auto& [part, depth] : all_) {
            Check(options_.maxDepth == 0 || depth <= options_.maxDepth, "not too deep");
            Check(options_.maxFields == 0 || part->fields.GetCount() <= options_.maxFields,
                  "not too many fields");
            // A failed reading may have taken the line that passed the limit.
            const unsigned over = isRead_ ? 0 : 3;
            Check(options_.maxHeaderBytes == 0 ||
                      part->fields.GetText().GetLength() <= options_.maxHeaderBytes + over,
                  "no header block is too long");
            decoded += GetBodySize(*part);
        }
        constexpr uint64_t kPiece = 0x80000 + 0x1000;  // docs/mail.md: looked at after each piece
        const uint64_t over = isRead_ ? 0 : kPiece;
        Check(options_.maxDecodedBytes == 0 || decoded <= options_.maxDecodedBytes + over,
              "not too many bytes of bodies");
    }

    void CheckFiles() const {
        std::set<std::string> named;
        for (const auto& [part, depth] : all_) {
            if (part->data.file.IsEmpty()) continue;
            const std::string path(part->data.file.GetPath());
            Check(path.starts_with(folder_.GetPath() + "/mimeio-"), "body files are in the folder");
            Check(named.insert(path.substr(folder_.GetPath().size() + 1)).second,
                  "each body has a file of its own");
        }
        std::set<std::string> made;
        for (std::string& name : folder_.List()) {
            if (name != kTextFile && name != kWrittenFile) made.insert(std::move(name));
        }
        if (isRead_ || options_.ownFiles) Check(made == named, "every file has a name in the tree");
        Check(std::includes(made.begin(), made.end(), named.begin(), named.end()),
              "every named file is there");
        if (!isRead_ && options_.removeFilesOnFailure) {
            Check(made.empty() && named.empty(), "no file is left");
        }
    }

    const Setup& setup_;
    const ReadOptions& options_;
    const bool isRead_;
    const TempFolder& folder_;
    const std::vector<Placed> all_;
};

void CheckPath(std::string_view path) {
    Check(path.find_first_not_of("0123456789.") == std::string_view::npos, "a path is numbers");
    Check(path.empty() || (path.front() != '.' && path.back() != '.'), "with dots between");
}

void CheckReport(const ReadReport& report, bool isRead, size_t size) {
    Check(report.failed != isRead, "the report knows");
    Check(report.failureOffset <= size, "failures are in the text");
    CheckPath(report.failurePath);
    Check(isRead <= (report.failureOffset == 0 && report.failurePath.IsEmpty()),
          "no failure has no place");
    auto worst = MIME::Deviation::Severity::harmless;
    size_t paths = 0;
    for (const ReadReport::Entry& entry : report.deviations) {
        Check(entry.offset <= size, "deviations are in the text");
        Check(entry.kind != MIME::Deviation::invalid && !GetStr(entry.kind).IsEmpty() &&
                  !GetName(entry.kind).IsEmpty(),
              "deviations have names");
        CheckPath(entry.path);
        paths += entry.path.GetLength();
        worst = std::max(worst, GetSeverity(entry.kind));
    }
    Check(report.deviations.GetCount() <= ReadReport::kMaxEntries, "not too many entries");
    Check(paths <= ReadReport::kMaxPathText, "paths are not too long");
    Check(report.omitted != 0 ? report.worst >= worst : report.worst == worst,
          "the worst is known");
    Check(report.omitted == 0 || report.deviations.GetCount() == ReadReport::kMaxEntries ||
              paths > ReadReport::kMaxPathText / 2,
          "entries are left out only when there is no room");
}

// ------------------------------------------------------------------------------- readings --

bool Read(Part& part, const Setup& setup, const TempFolder& folder, AnsiStr& error) {
    ReadReport report;
    ReadReport* const wanted = setup.hasReport ? &report : nullptr;
    bool isRead = false;
    if (setup.isInFile) {
        const File file{AnsiStr(folder.At(kTextFile))};
        MIME::Test::WriteWholeFile(file.GetPath(), setup.text);
        isRead = part.Read(file, error, setup.options, wanted, setup.contentType);
    } else {
        isRead = part.Read(setup.text.data(), setup.text.size(), error, setup.options, wanted,
                           setup.contentType);
    }
    Check(isRead == error.IsEmpty(), "a failure has a message, and nothing else has");
    if (setup.options.rules == Rules::mail && !isRead) {
        Check(std::string_view(error).starts_with("limit reached"),
              "only limits stop the mail rules");
    }
    if (setup.hasReport) CheckReport(report, isRead, setup.text.size());
    return isRead;
}

void WriteAndReadAgain(Part& part, const ReadOptions& options, const File& file,
                       AnsiStr* contentType) {
    Check(part.Write(file, contentType), "what was read can be written");
    Part again;
    AnsiStr error;
    ReadOptions same;
    same.rules = options.rules;
    same.bodies = Bodies::memory;
    same.ownFiles = true;
    const bool isRead = again.Read(file, error, same, nullptr,
                                   contentType != nullptr ? contentType->GetStr() : nullptr);
    Check(isRead || options.rules == Rules::exact, "without limits the mail rules read anything");
}

void CheckSameFields(const HeaderMap& a, const HeaderMap& b) {
    auto other = b.begin();
    for (const HeaderMap::Node& field : a) {
        // Only a reading that names a file asks for what the name is made of.
        if (field.value.value.IsEmpty()) continue;
        while (other != b.end() && other->value.value.IsEmpty()) ++other;
        Check(other != b.end(), "no field is missing");
        CheckEqual(other->value.value, field.value.value, "values are the same");
        ++other;
    }
}

/// Where bodies are, where the text is, and whether a report is wanted make no other tree.
void CheckOtherReading(const Part& part, const AnsiStr& error, Setup setup,
                       const TempFolder& folder) {
    ReadOptions& options = setup.options;
    options.bodies = options.bodies == Bodies::files ? Bodies::memory : Bodies::files;
    options.ownFiles = true;
    setup.hasReport = !setup.hasReport;
    setup.isInFile = !setup.isInFile;
    Part other;
    AnsiStr otherError;
    const bool isRead = Read(other, setup, folder, otherError);
    CheckEqual(otherError, error, "the result is the same");
    const std::vector<Placed> all = List(part);
    const std::vector<Placed> others = List(other);
    Check(all.size() == others.size(), "the entities are the same");
    for (size_t i = 0; i < all.size(); ++i) {
        const Part& a = *all[i].part;
        const Part& b = *others[i].part;
        Check(a.parts.GetCount() == b.parts.GetCount() && a.info.isMessage == b.info.isMessage,
              "the structure is the same");
        CheckEqual(b.fields.GetText(), a.fields.GetText(), "header blocks are the same");
        CheckEqual(b.preamble, a.preamble, "preambles are the same");
        CheckEqual(b.epilogue, a.epilogue, "epilogues are the same");
        CheckSameFields(a.headers, b.headers);
        if (isRead) CheckEqual(GetBody(b), GetBody(a), "bodies are the same");
    }
}

void RemoveFiles(const TempFolder& folder) {
    for (const std::string& name : folder.List()) std::filesystem::remove(folder.At(name));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const TempFolder folder;
    const Setup setup = MakeSetup({data, size});
    const ReadOptions& options = setup.options;
    {
        Part part;
        AnsiStr error;
        const bool isRead = Read(part, setup, folder, error);
        ReadCheck(setup, part, isRead, folder).CheckAll();
        if (setup.isCompared) CheckOtherReading(part, error, setup, folder);
        if (isRead) {
            const File file{AnsiStr(folder.At(kWrittenFile))};
            AnsiStr contentType;
            WriteAndReadAgain(part, options, file, nullptr);
            WriteAndReadAgain(part, options, file, &contentType);
            Check(!part.Serialize(false).IsEmpty(), "what was read can be serialized");
        }
        std::filesystem::remove(folder.At(kTextFile));
        std::filesystem::remove(folder.At(kWrittenFile));
    }
    if (options.ownFiles) Check(folder.List().empty(), "owned files are removed with the tree");
    RemoveFiles(folder);
    return 0;
}

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

/// Every other change is one of the structure; see text_mutator.h.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize,
                                          unsigned seed) {
    if (size <= kOptionBytes || seed % 2 == 0) return LLVMFuzzerMutate(data, size, maxSize);
    std::minstd_rand random(seed);
    std::string text(reinterpret_cast<const char*>(data) + kOptionBytes, size - kOptionBytes);
    MIME::Fuzz::MutateStructure(text, random);
    const size_t kept = std::min(text.size(), maxSize - kOptionBytes);
    std::memcpy(data + kOptionBytes, text.data(), kept);
    return kOptionBytes + kept;
}
