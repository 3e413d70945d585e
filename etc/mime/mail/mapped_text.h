#pragma once

#include <filesystem>
#include <memory>
#include <string_view>

#include "kivgui/memory_file.h"
#include "mime/foundation/passed_pages.h"
#include "mime/mail/result.h"

namespace MIME {

/// The bytes of a whole file, for reading, for as long as this lives.
///
/// A file below 4 MiB is read into memory; a larger one is mapped, and while it is, nobody may make
/// the file shorter (kivgui/memory_file.h). Moving it leaves the text where it is, so views of it
/// stay valid. Any number of threads may look at the text.
class MappedText {
public:
    /// No text.
    MappedText() noexcept = default;
    /// @return cannotOpen or cannotRead, with the system's code and a text such as
    ///         "x.eml: No such file or folder". A folder, a pipe or a device cannot be read. Throws
    ///         std::bad_alloc.
    static Result<MappedText> Open(const std::filesystem::path& path);

    /// Valid as long as this, or what it was moved into, lives. Empty after a move.
    std::string_view GetText() const noexcept {
        return file_ != nullptr
                   ? std::string_view(file_->GetData(), static_cast<size_t>(file_->GetSize()))
                   : std::string_view();
    }

    /// A pass over the text, which begins at `next`.
    PassedPages Pass(const char* next) const noexcept { return {file_.get(), next}; }

private:
    explicit MappedText(std::unique_ptr<KivGuiBase::MemoryFile> file) noexcept
        : file_(std::move(file)) {}

    std::unique_ptr<KivGuiBase::MemoryFile> file_;
};

}  // namespace MIME
