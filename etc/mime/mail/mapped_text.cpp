#include "mime/mail/mapped_text.h"

#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "mime/mail/file_error.h"
#include "mime/mail/whole.h"

namespace MIME {

using KivGuiBase::DiskFile;
using KivGuiBase::File;
using KivGuiBase::MemoryFile;

Result<MappedText> MappedText::Open(const std::filesystem::path& path) {
    return Whole([&]() -> Result<MappedText> {
        const File name(path);
        // The system would open what the path names up to its first NUL.
        if (std::string_view(name.GetPath()).find('\0') != std::string_view::npos) {
            return MakeFileError(ErrorCode::cannotOpen, path, KivGuiBase::kErrorInvalidParameter);
        }
        DiskFile file;
        if (!file.Open(name, DiskFile::Mode::read)) {
            return MakeFileError(ErrorCode::cannotOpen, path, KivGuiBase::GetLastError());
        }
        auto text = std::make_unique<MemoryFile>();
        if (!text->Open(file)) {
            return MakeFileError(ErrorCode::cannotRead, path, KivGuiBase::GetLastError());
        }
        return MappedText(std::move(text));
    });
}

}  // namespace MIME
