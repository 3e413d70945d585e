#include "message_source.h"

#include <cstdio>
#include <system_error>

#include "files.h"
#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "output.h"
#include "platform/system.h"

// What is written again is read more than once, or looked back into, so a stream is copied into a plain
// file first.

namespace Tool {

using KivGuiBase::DiskFile;
using KivGuiBase::File;

namespace {

std::string StoreStream(std::FILE* stream, const std::string& name, WorkFolder& folder) {
    std::string copy = folder.MakePath("stream");
    DiskFile out;
    const auto check = [&copy](bool isDone) {
        if (!isDone) throw Failure(copy, GetLastReason());
    };
    check(out.Open(File(MIME::AnsiStr(copy)), DiskFile::Mode::createNew));
    ReadPieces(stream, name, [&](std::string_view piece) {
        check(out.Write(piece.data(), static_cast<unsigned>(piece.size())));
    });
    check(out.Close());
    return copy;
}

}  // namespace

std::string GetShownName(const std::string& path) {
    return path == "-" ? "standard input" : path;
}

std::string GetPlainFile(const std::string& path, WorkFolder& folder) {
    if (path == "-") return StoreStream(stdin, GetShownName(path), folder);
    std::error_code ignored;
    if (std::filesystem::is_directory(ToPath(path), ignored)) throw Failure(path, "is a folder");
    if (!IsStream(path)) return path;
    const Stream stream(System::OpenStream(path));
    if (stream == nullptr) throw Failure(path, GetSystemReason());
    return StoreStream(stream.get(), path, folder);
}

SentFile GetSentFile(const std::string& path, WorkFolder& folder) {
    return {ToPath(GetPlainFile(path, folder)), {.name = FromPath(ToPath(path).filename())}};
}

MIME::Mail OpenMail(const Source& source, WorkFolder& folder) {
    const std::string file = GetPlainFile(source.file, folder);
    auto mail = MIME::Mail::Open(ToPath(file), {.contentType = source.contentType});
    if (mail) return std::move(*mail);
    const MIME::Error& error = mail.error();
    if (error.GetSystemCode() != 0) throw Failure(error.GetText());  // which names the file
    throw Failure(GetShownName(source.file), std::string(MIME::GetText(error.GetCode())));
}

std::unique_ptr<MIME::Part> OpenStrict(const Source& source, WorkFolder& folder) {
    const File file{MIME::AnsiStr(GetPlainFile(source.file, folder))};
    auto message = std::make_unique<MIME::Part>();
    MIME::AnsiStr error;
    KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
    const bool isRead = source.contentType ? message->Read(file, error, source.contentType->c_str())
                                           : message->Read(file, error, MIME::ReadOptions());
    if (isRead) return message;
    throw Failure(GetShownName(source.file), error.IsEmpty() ? GetLastReason() : ToString(error));
}

}  // namespace Tool
