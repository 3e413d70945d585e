#include "files.h"

#include <system_error>
#include <vector>

#include "kivgui/disk_file.h"
#include "kivgui/replaced_file.h"
#include "output.h"
#include "progress.h"
#include "temporary.h"

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

void WritePieces(const std::string& target, const std::function<void(const TakePiece&)>& give) {
    Progress progress(target == "-");
    if (target == "-") {
        give([&](std::string_view piece) {
            Print(piece);
            progress.Add(piece.size());
        });
        return FinishOutput();
    }
    std::error_code ignored;
    if (fs::is_directory(ToPath(target), ignored)) throw Failure(target, "is a folder");
    KivGuiBase::ReplacedFile out;
    const auto check = [&](bool isDone) {
        if (!isDone) throw Failure(target, GetLastReason());
    };
    const auto open = [&] {
        check(out.Open(File(MIME::AnsiStr(target))));
        return ToString(out.GetNewFile().GetPath());
    };
    // Opening a pipe waits for its reader, and an interrupt must not wait with it.
    const bool isStream = IsStream(target);
    const std::string path = isStream ? open() : Leftovers::Add(open);
    give([&](std::string_view piece) {
        check(out.Write(piece.data(), piece.size()));
        progress.Add(piece.size());
    });
    const auto commit = [&] { check(out.Commit()); };
    isStream ? commit() : Leftovers::Keep(path, commit);
}

}  // namespace Tool
