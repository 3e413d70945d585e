#include "mime/mail/folder_listing.h"

#include <new>

#include "kivgui/error.h"
#include "kivgui/file.h"
#include "kivgui/memory.h"
#include "kivgui/platform/platform.h"

// The library's own listing of folders: that of the standard library ends the process when memory runs out.

namespace MIME {

namespace fs = std::filesystem;
using KivGuiBase::Platform::EntryKind;

namespace {

class Lister final : public KivGuiBase::Platform::NameTaker {
public:
    Lister(const fs::path& folder, bool recursive, std::vector<ListedFile>& files)
        : folder_(folder), recursive_(recursive), files_(files) {}

    void List(const fs::path& subfolder) {
        waiting_.push_back(subfolder);
        while (!waiting_.empty()) {
            subfolder_ = std::move(waiting_.back());
            waiting_.pop_back();
            ListOne();
        }
    }

private:
    void ListOne() {
        const KivGuiBase::MemoryWatch watch;
        const KivGuiBase::File path(folder_ / subfolder_);
        const bool isListed = KivGuiBase::Platform::ListFolder(path.GetPath().GetStr(), *this);
        if (watch.HasFailed()) throw std::bad_alloc();
        if (!isListed) files_.push_back({subfolder_.native(), KivGuiBase::GetLastError()});
    }

    bool Take(const char* name, EntryKind kind) noexcept override {
        if (*name == '.') return true;
        try {
            const fs::path path =
                subfolder_ / fs::path(KivGuiBase::File(KivGuiBase::AnsiStr(name)));
            if (kind == EntryKind::file) files_.push_back({path.native(), 0});
            if (kind == EntryKind::folder && recursive_) waiting_.push_back(path);
            return true;
        } catch (const std::bad_alloc&) {
            KivGuiBase::NoteMissingMemory();
            return false;
        }
    }

    const fs::path& folder_;
    const bool recursive_;
    std::vector<ListedFile>& files_;
    std::vector<fs::path> waiting_;
    fs::path subfolder_;  ///< the one being listed
};

}  // namespace

void ListFiles(const fs::path& folder, const fs::path& subfolder, bool recursive,
               std::vector<ListedFile>& files) {
    Lister(folder, recursive, files).List(subfolder);
}

}  // namespace MIME
