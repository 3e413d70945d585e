#include "message_source.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "failure.h"
#include "file_pieces.h"
#include "platform/system.h"
#include "target.h"

namespace Tool {

using KivGuiBase::DiskFile;
using KivGuiBase::File;

namespace {

struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};

/// Copies a stream into the work folder: the library reads plain files, in which it can look back.
File StoreStream(std::FILE* stream, const std::string& name, const std::string& copy) {
    File stored{MIME::AnsiStr(copy)};
    DiskFile out;
    if (!out.Open(stored, DiskFile::Mode::createNew)) throw Failure(copy, GetLastReason());
    ReadPieces(stream, name, [&](std::string_view piece) {
        if (!out.Write(piece.data(), static_cast<unsigned>(piece.size()))) {
            throw Failure(copy, GetLastReason());
        }
    });
    if (!out.Close()) throw Failure(copy, GetLastReason());
    return stored;
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

std::unique_ptr<MIME::Part> ReadMessage(const Source& source, const WorkFolder& folder) {
    return ReadMessage(source, GetPlainFile(source.file, folder.At("message")));
}

std::unique_ptr<MIME::Part> ReadMessage(const Source& source, const File& file) {
    auto message = std::make_unique<MIME::Part>();
    MIME::AnsiStr error;
    KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
    const char* contentType = source.contentType ? source.contentType->c_str() : nullptr;
    if (!message->Read(file, error, contentType)) {
        throw Failure(GetShownName(source.file),
                      error.IsEmpty() ? GetLastReason() : std::string(std::string_view(error)));
    }
    return message;
}

}  // namespace Tool
