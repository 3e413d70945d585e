#include "message_source.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <vector>

#include "failure.h"

namespace Tool {

using KivGuiBase::DiskFile;
using KivGuiBase::File;

namespace {

struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};

/// Can the file be read only once, from its start to its end? A pipe is one.
bool IsStream(const std::string& path) {
    std::error_code ignored;
    const std::filesystem::file_status status = std::filesystem::status(path, ignored);
    return std::filesystem::is_other(status);
}

/// Copies a stream into the work folder: the library reads plain files, in which it can look back.
File StoreStream(std::FILE* stream, const std::string& name, const WorkFolder& folder) {
    File stored(MIME::AnsiStr(folder.At("message")));
    DiskFile out;
    if (!out.Open(stored, DiskFile::Mode::createNew)) {
        throw Failure(folder.At("message"), GetLastReason());
    }
    std::vector<char> piece(DiskFile::kBufferSize);
    while (const size_t got = std::fread(piece.data(), 1, piece.size(), stream)) {
        if (!out.Write(piece.data(), static_cast<unsigned>(got))) {
            throw Failure(folder.At("message"), GetLastReason());
        }
    }
    if (std::ferror(stream) != 0) throw Failure(name, std::generic_category().message(errno));
    if (!out.Close()) throw Failure(folder.At("message"), GetLastReason());
    return stored;
}

File OpenSource(const std::string& path, const WorkFolder& folder) {
    if (path == "-") return StoreStream(stdin, "standard input", folder);
    if (!IsStream(path)) return File(MIME::AnsiStr(path));
    const std::unique_ptr<std::FILE, CloseStream> stream(std::fopen(path.c_str(), "rb"));
    if (stream == nullptr) throw Failure(path, std::generic_category().message(errno));
    return StoreStream(stream.get(), path, folder);
}

}  // namespace

std::unique_ptr<MIME::Part> ReadMessage(const Source& source, const WorkFolder& folder) {
    const File file = OpenSource(source.file, folder);
    auto message = std::make_unique<MIME::Part>();
    MIME::AnsiStr error;
    KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
    const char* contentType = source.contentType ? source.contentType->c_str() : nullptr;
    if (!message->Read(file, error, contentType)) {
        throw Failure(source.file == "-" ? "standard input" : source.file,
                      error.IsEmpty() ? GetLastReason() : std::string(std::string_view(error)));
    }
    return message;
}

}  // namespace Tool
