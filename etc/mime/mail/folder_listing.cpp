#include "mime/mail/folder_listing.h"

#include <new>
#include <system_error>

#include "kivgui/error.h"

namespace MIME {

namespace fs = std::filesystem;

namespace {

/// The nearest code of ours. Throws std::bad_alloc for a lack of memory.
uint32_t ToSystemCode(const std::error_code& error) {
    struct Row {
        std::errc error;
        uint32_t code;
    };
    constexpr Row kRows[] = {
        {std::errc::no_such_file_or_directory, KivGuiBase::kErrorFileNotFound},
        {std::errc::not_a_directory, KivGuiBase::kErrorPathNotFound},
        {std::errc::permission_denied, KivGuiBase::kErrorAccessDenied},
        {std::errc::operation_not_permitted, KivGuiBase::kErrorAccessDenied},
        {std::errc::too_many_files_open, KivGuiBase::kErrorTooManyOpenFiles},
        {std::errc::too_many_files_open_in_system, KivGuiBase::kErrorTooManyOpenFiles},
        {std::errc::filename_too_long, KivGuiBase::kErrorNameTooLong},
        {std::errc::too_many_symbolic_link_levels, KivGuiBase::kErrorCantResolveName},
        {std::errc::io_error, KivGuiBase::kErrorIoDevice},
    };
    if (error == std::errc::not_enough_memory) throw std::bad_alloc();
    for (const Row& row : kRows) {
        if (error == row.error) return row.code;
    }
    return KivGuiBase::kErrorGeneralFailure;
}

bool IsHidden(const fs::path& name) {
    return name.native().starts_with(static_cast<fs::path::value_type>('.'));
}

class Lister {
public:
    Lister(const fs::path& folder, bool recursive, std::vector<ListedFile>& files)
        : folder_(folder), recursive_(recursive), files_(files) {}

    void List(const fs::path& subfolder) {
        waiting_.push_back(subfolder);
        while (!waiting_.empty()) {
            const fs::path next = std::move(waiting_.back());
            waiting_.pop_back();
            ListOne(next);
        }
    }

private:
    void ListOne(const fs::path& subfolder) {
        std::error_code error;
        fs::directory_iterator entry(folder_ / subfolder, error);
        while (!error && entry != fs::directory_iterator()) {
            Take(*entry, subfolder);
            entry.increment(error);
        }
        if (error) files_.push_back({subfolder.native(), ToSystemCode(error)});
    }

    void Take(const fs::directory_entry& entry, const fs::path& subfolder) {
        const fs::path name = entry.path().filename();
        if (IsHidden(name)) return;
        std::error_code error;
        const fs::file_type target = entry.status(error).type();
        if (target == fs::file_type::directory) {
            if (recursive_ && !entry.is_symlink(error)) waiting_.push_back(subfolder / name);
        } else if (target == fs::file_type::regular || target == fs::file_type::not_found ||
                   target == fs::file_type::none || target == fs::file_type::unknown) {
            files_.push_back({(subfolder / name).native(), 0});
        }
    }

    const fs::path& folder_;
    const bool recursive_;
    std::vector<ListedFile>& files_;
    std::vector<fs::path> waiting_;
};

}  // namespace

void ListFiles(const fs::path& folder, const fs::path& subfolder, bool recursive,
               std::vector<ListedFile>& files) {
    Lister(folder, recursive, files).List(subfolder);
}

}  // namespace MIME
