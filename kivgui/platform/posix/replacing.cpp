#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <string_view>

#include "kivgui/memory.h"
#include "kivgui/platform/platform.h"
#include "kivgui/platform/posix/system.h"

// What a file needs that is to take the place of another one.

namespace KivGuiBase::Platform {

namespace {

bool Fail(int error) noexcept {
    errno = error;
    return FailWithSystemError();
}

AnsiStr GetFolder(const AnsiStr& path) noexcept {
    const std::string_view text = path;
    return text.substr(0, text.rfind('/') + 1);
}

enum class LinkStep { followed, noLink, failed };

/// Replaces the path of a link by that of what it leads to, which need not exist.
LinkStep FollowLink(AnsiStr& path) noexcept {
    char text[PATH_MAX];
    const ssize_t length = readlink(path.GetStr(), text, sizeof text);
    if (length < 0 && (errno == EINVAL || errno == ENOENT)) return LinkStep::noLink;
    if (length < 0 || length == ssize_t{sizeof text}) {
        Fail(length < 0 ? errno : ENAMETOOLONG);
        return LinkStep::failed;
    }
    const AnsiStr link(text, static_cast<unsigned>(length));
    path = *text == '/' ? link : GetFolder(path) + link;
    return LinkStep::followed;
}

bool FollowLinks(AnsiStr& path) noexcept {
    constexpr int kMaxLinks = 40;  // the system's own limit
    const MemoryWatch watch;
    for (int i = 0; i < kMaxLinks; ++i) {
        const LinkStep step = FollowLink(path);
        if (watch.HasFailed() || step == LinkStep::failed) return false;
        if (step == LinkStep::noLink) return true;
    }
    return Fail(ELOOP);
}

}  // namespace

bool FindTarget(const char* path, Target& target) noexcept {
    struct stat status;
    const bool exists = stat(path, &status) == 0;
    if (!exists && errno != ENOENT) return FailWithSystemError();
    if (exists && S_ISDIR(status.st_mode)) return Fail(EISDIR);
    const MemoryWatch watch;
    target.path = path;
    target.isStream = exists && !S_ISREG(status.st_mode);
    if (!target.isStream && !FollowLinks(target.path)) return false;
    target.folder = GetFolder(target.path);
    if (watch.HasFailed()) return false;
    // A name is missing: the path is empty or ends in "/".
    return target.folder.GetLength() < target.path.GetLength() || Fail(ENOENT);
}

bool CopyPermissions(FileHandle handle, const char* /*path*/, const char* model) noexcept {
    const int file = static_cast<int>(handle);
    struct stat own, wanted;
    if (stat(model, &wanted) != 0 || fstat(file, &own) != 0) return FailWithSystemError();
    mode_t mode = wanted.st_mode & 0777;
    const bool isOwned = own.st_uid == wanted.st_uid && own.st_gid == wanted.st_gid;
    if (!isOwned && fchown(file, wanted.st_uid, wanted.st_gid) != 0 &&
        fchown(file, own.st_uid, wanted.st_gid) != 0) {
        // The rights of the other file's group are not for this one's: it may what everybody may.
        mode = (mode & 0707) | (mode & 07) << 3;
    }
    // Some file systems have no permissions.
    return fchmod(file, mode) == 0 || errno == EPERM || errno == EOPNOTSUPP ||
           FailWithSystemError();
}

bool FlushFile(FileHandle file) noexcept {
    int result;
    do {
        result = fsync(static_cast<int>(file));
    } while (result != 0 && errno == EINTR);
    // EINVAL: a file system that has nothing to wait for.
    return result == 0 || errno == EINVAL || FailWithSystemError();
}

bool RenameFile(const char* from, const char* to) noexcept {
    return rename(from, to) == 0 || FailWithSystemError();
}

}  // namespace KivGuiBase::Platform
