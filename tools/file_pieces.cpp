#include "file_pieces.h"

#include <cerrno>
#include <system_error>
#include <vector>

#include "failure.h"

namespace Tool {

using KivGuiBase::DiskFile;

void ReadPieces(const KivGuiBase::File& file, const std::function<void(std::string_view)>& take) {
    DiskFile in;
    bool read = in.Open(file, DiskFile::Mode::read);
    std::vector<char> piece(DiskFile::kBufferSize);
    for (unsigned got = 1; read && got != 0;) {
        read = in.Read(piece.data(), DiskFile::kBufferSize, got);
        if (read) take({piece.data(), got});
    }
    if (!read) throw Failure(std::string(std::string_view(file.GetPath())), GetLastReason());
}

void ReadPieces(std::FILE* stream, const std::string& name,
                const std::function<void(std::string_view)>& take) {
    std::vector<char> piece(DiskFile::kBufferSize);
    while (const size_t got = std::fread(piece.data(), 1, piece.size(), stream)) {
        take({piece.data(), got});
    }
    if (std::ferror(stream) != 0) throw Failure(name, std::generic_category().message(errno));
}

}  // namespace Tool
