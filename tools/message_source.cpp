#include "message_source.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <new>
#include <string_view>
#include <system_error>

#include "failure.h"
#include "file_pieces.h"
#include "platform/system.h"
#include "target.h"

namespace Tool {

using KivGuiBase::DiskFile;
using KivGuiBase::File;

namespace {

using Take = std::function<void(std::string_view)>;

struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};

/// Makes a plain file in the work folder: the library reads such files, in which it can look back.
File Store(const std::string& copy, const std::function<void(const Take&)>& give) {
    File stored{MIME::AnsiStr(copy)};
    DiskFile out;
    if (!out.Open(stored, DiskFile::Mode::createNew)) throw Failure(copy, GetLastReason());
    give([&](std::string_view piece) {
        if (!out.Write(piece.data(), static_cast<unsigned>(piece.size()))) {
            throw Failure(copy, GetLastReason());
        }
    });
    if (!out.Close()) throw Failure(copy, GetLastReason());
    return stored;
}

File StoreStream(std::FILE* stream, const std::string& name, const std::string& copy) {
    return Store(copy, [&](const Take& take) { ReadPieces(stream, name, take); });
}

/// The field that travelled apart, and the empty line behind it. A line end in the value must not
/// begin another field.
std::string MakeHeaderBlock(const Source& source) {
    if (source.strict || !source.contentType) return {};
    std::string value = *source.contentType;
    std::replace_if(
        value.begin(), value.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
    return "Content-Type: " + value + "\r\n\r\n";
}

bool ReadPart(MIME::Part& message, const Source& source, const File& file, MIME::AnsiStr& error,
              MIME::ReadReport& report) {
    if (!source.strict) return message.Read(file, error, MIME::ReadOptions::Mail(), &report);
    if (!source.contentType) return message.Read(file, error, MIME::ReadOptions(), &report);
    report.failed = !message.Read(file, error, source.contentType->c_str());
    return !report.failed;
}

/// Makes the offsets those of the text without the first `size` bytes.
void TakeOff(MIME::ReadReport& report, unsigned long long size) {
    report.failureOffset -= std::min(report.failureOffset, size);
    for (unsigned i = 0; i < report.deviations.GetCount(); ++i) {
        MIME::ReadReport::Entry entry = report.deviations[i];
        entry.offset -= std::min(entry.offset, size);
        if (!report.deviations.Set(i, entry)) throw std::bad_alloc();
    }
}

}  // namespace

std::string GetShownName(const std::string& path) {
    return path == "-" ? "standard input" : path;
}

File GetPlainFile(const std::string& path, const std::string& copy) {
    if (path == "-") return StoreStream(stdin, GetShownName(path), copy);
    if (!IsStream(path)) return File(MIME::AnsiStr(path));
    const std::unique_ptr<std::FILE, CloseStream> stream(System::OpenStream(path));
    if (stream == nullptr) throw Failure(path, std::generic_category().message(errno));
    return StoreStream(stream.get(), path, copy);
}

namespace {

/// @param block  what stands before the message in the file, and in no offset of the report.
std::unique_ptr<MIME::Part> ReadFile(const Source& source, const File& file,
                                     const std::string& block, MIME::ReadReport* report) {
    auto message = std::make_unique<MIME::Part>();
    MIME::AnsiStr error;
    MIME::ReadReport ownReport;
    if (report == nullptr) report = &ownReport;
    KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
    const bool read = ReadPart(*message, source, file, error, *report);
    TakeOff(*report, block.size());
    if (read) return message;
    throw Failure(GetShownName(source.file),
                  error.IsEmpty() ? GetLastReason() : std::string(std::string_view(error)));
}

}  // namespace

std::unique_ptr<MIME::Part> ReadMessage(const Source& source, const File& file,
                                        MIME::ReadReport* report) {
    return ReadFile(source, file, "", report);
}

std::unique_ptr<MIME::Part> ReadMessage(const Source& source, const WorkFolder& folder,
                                        MIME::ReadReport* report) {
    // A command may read a second message.
    static unsigned count = 0;
    const std::string copy = folder.At("message" + (count == 0 ? "" : std::to_string(count)));
    ++count;
    File file = GetPlainFile(source.file, copy);
    const std::string block = MakeHeaderBlock(source);
    if (!block.empty()) {
        file = Store(copy + "-with-field", [&](const Take& take) {
            take(block);
            ReadPieces(file, take);
        });
    }
    return ReadFile(source, file, block, report);
}

}  // namespace Tool
