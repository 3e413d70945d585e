#include "files.h"

#include <system_error>
#include <vector>

#include "kivgui/convert.h"
#include "kivgui/disk_file.h"
#include "kivgui/random.h"
#include "output.h"
#include "temporary.h"

// The files of the program: read in pieces, and written beside their target under a name of their own, so
// that a target is replaced when its content is complete and never before.

namespace Tool {

namespace fs = std::filesystem;
using KivGuiBase::DiskFile;
using KivGuiBase::File;

void ReadPieces(const File& file, const TakePiece& take) {
    DiskFile in;
    bool read = in.Open(file, DiskFile::Mode::read);
    std::vector<char> piece(DiskFile::kBufferSize);
    for (unsigned got = 1; read && got != 0;) {
        read = in.Read(piece.data(), DiskFile::kBufferSize, got);
        if (read) take({piece.data(), got});
    }
    if (!read) throw Failure(ToString(file.GetPath()), GetLastReason());
}

void ReadPieces(std::FILE* stream, const std::string& name, const TakePiece& take) {
    std::vector<char> piece(DiskFile::kBufferSize);
    while (const size_t got = std::fread(piece.data(), 1, piece.size(), stream)) {
        take({piece.data(), got});
    }
    if (std::ferror(stream) != 0) throw Failure(name, GetSystemReason());
}

bool IsStream(const std::string& target) {
    std::error_code ignored;
    return target == "-" || fs::is_other(fs::status(ToPath(target), ignored));
}

namespace {

/// A name that nobody can predict, so that nobody can put a link there first.
std::string MakeName() {
    unsigned char random[8];
    if (!KivGuiBase::GetUnpredictableBytes(random, sizeof random)) {
        throw Failure("random numbers", GetLastReason());
    }
    return ".kivmime-" + ToString(KivGuiBase::Binary2B16Str(random, sizeof random, 0, "")) +
           ".part";
}

}  // namespace

void ReplaceFile(const std::string& target, const std::function<void(const std::string&)>& write) {
    fs::path path = ToPath(target);
    std::error_code error;
    if (fs::exists(path, error)) path = fs::canonical(path, error);
    if (error) throw Failure(target, error.message());
    const fs::path partPath = path.parent_path() / MakeName();
    const std::string part = FromPath(partPath);
    // The name is new, so whatever appears there is ours to remove.
    Leftovers::Add([&part] { return std::string(part); });
    write(part);
    const fs::file_status old = fs::status(path, error);
    if (fs::exists(old)) fs::permissions(partPath, old.permissions(), error);
    fs::rename(partPath, path, error);
    if (error) throw Failure(target, error.message());
    Leftovers::Keep(part);
}

void WritePieces(const std::string& target, const std::function<void(const TakePiece&)>& give) {
    if (target == "-") {
        give([](std::string_view piece) { Print(piece); });
        return FinishOutput();
    }
    const auto write = [&](const std::string& path) {
        DiskFile out;
        bool isWritten = out.Open(File(MIME::AnsiStr(path)), DiskFile::Mode::create);
        give([&](std::string_view piece) {
            isWritten = isWritten && out.Write(piece.data(), static_cast<unsigned>(piece.size()));
            if (!isWritten) throw Failure(target, GetLastReason());
        });
        if (!isWritten || !out.Close()) throw Failure(target, GetLastReason());
    };
    if (IsStream(target)) return write(target);
    ReplaceFile(target, write);
}

void WriteText(const std::string& target, std::string_view text) {
    WritePieces(target, [&](const TakePiece& take) { take(text); });
}

}  // namespace Tool
