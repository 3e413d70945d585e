#include "message_source.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string_view>

#include "files.h"
#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "output.h"
#include "platform/system.h"

// The library maps files and looks back in them, so a stream is copied into a plain file first. With
// the mail rules a Content-Type that was given apart is put before the message as a header block of
// its own, in another copy: then the two forms of a message are read in the same way.

namespace Tool {

using KivGuiBase::DiskFile;
using KivGuiBase::File;

namespace {

/// Makes a plain file out of the pieces that `give` passes on.
File Store(const std::string& copy, const std::function<void(const TakePiece&)>& give) {
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
    return Store(copy, [&](const TakePiece& take) { ReadPieces(stream, name, take); });
}

/// A header block with the Content-Type that was given apart. A line end in the value must not begin
/// another field.
std::string MakeHeaderBlock(const Source& source) {
    if (source.strict || !source.contentType) return {};
    std::string value = *source.contentType;
    std::replace_if(
        value.begin(), value.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
    return "Content-Type: " + value + "\r\n\r\n";
}

bool ReadPart(MIME::Part& message, const Source& source, const File& file, MIME::AnsiStr& error,
              MIME::ReadReport* report) {
    if (!source.strict) return message.Read(file, error, MIME::ReadOptions::Mail(), report);
    if (!source.contentType) return message.Read(file, error, MIME::ReadOptions(), report);
    return message.Read(file, error, source.contentType->c_str());
}

}  // namespace

std::string GetShownName(const std::string& path) {
    return path == "-" ? "standard input" : path;
}

File GetPlainFile(const std::string& path, const std::string& copy) {
    if (path == "-") return StoreStream(stdin, GetShownName(path), copy);
    if (!IsStream(path)) return File(MIME::AnsiStr(path));
    const Stream stream(System::OpenStream(path));
    if (stream == nullptr) throw Failure(path, GetSystemReason());
    return StoreStream(stream.get(), path, copy);
}

std::unique_ptr<MIME::Part> ReadMessage(const Source& source, const File& file,
                                        MIME::ReadReport* report) {
    auto message = std::make_unique<MIME::Part>();
    MIME::AnsiStr error;
    KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
    if (ReadPart(*message, source, file, error, report)) return message;
    throw Failure(GetShownName(source.file), error.IsEmpty() ? GetLastReason() : ToString(error));
}

std::unique_ptr<MIME::Part> ReadMessage(const Source& source, const WorkFolder& folder) {
    // A command may read a second message.
    static unsigned count = 0;
    const std::string copy = folder.At("message" + (count == 0 ? "" : std::to_string(count)));
    ++count;
    File file = GetPlainFile(source.file, copy);
    const std::string block = MakeHeaderBlock(source);
    if (!block.empty()) {
        file = Store(copy + "-with-field", [&](const TakePiece& take) {
            take(block);
            ReadPieces(file, take);
        });
    }
    return ReadMessage(source, file);
}

}  // namespace Tool
