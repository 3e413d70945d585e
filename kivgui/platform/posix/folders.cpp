#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <cerrno>
#include <memory>
#include <string_view>

#include "kivgui/platform/platform.h"
#include "kivgui/platform/posix/system.h"

// Folders. Most file systems give the kind of an entry with its name; only for links, and where they do
// not, the entry is looked at.

namespace KivGuiBase::Platform {

namespace {

struct Closer {
    void operator()(DIR* folder) const noexcept { closedir(folder); }
};

EntryKind ToKind(const struct stat& status) noexcept {
    if (S_ISDIR(status.st_mode)) return EntryKind::folder;
    return S_ISREG(status.st_mode) ? EntryKind::file : EntryKind::other;
}

EntryKind GetKind(DIR* folder, const dirent& entry) noexcept {
    if (entry.d_type == DT_REG) return EntryKind::file;
    if (entry.d_type == DT_DIR) return EntryKind::folder;
    struct stat target, own;
    if (fstatat(dirfd(folder), entry.d_name, &target, 0) != 0) return EntryKind::file;
    const EntryKind kind = ToKind(target);
    if (kind != EntryKind::folder) return kind;
    const bool isLink = fstatat(dirfd(folder), entry.d_name, &own, AT_SYMLINK_NOFOLLOW) == 0 &&
                        S_ISLNK(own.st_mode);
    return isLink ? EntryKind::linkedFolder : kind;
}

}  // namespace

bool ListFolder(const char* path, NameTaker& taker) noexcept {
    const std::unique_ptr<DIR, Closer> folder(opendir(path));
    if (folder == nullptr) return FailWithSystemError();
    for (;;) {
        errno = 0;
        const dirent* const entry = readdir(folder.get());
        if (entry == nullptr) return errno == 0 || FailWithSystemError();
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") continue;
        if (!taker.Take(entry->d_name, GetKind(folder.get(), *entry))) return true;
    }
}

}  // namespace KivGuiBase::Platform
