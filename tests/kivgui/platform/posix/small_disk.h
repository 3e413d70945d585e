#pragma once

#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "support/temp_folder.h"

namespace KivGuiBase {

/// A folder on a file system of its own with little room. Needs Linux, and root or a system that lets
/// a process of one thread be root to itself. It is mounted where only this process sees it, so that
/// a crash leaves nothing behind.
class SmallDisk {
public:
    explicit SmallDisk(size_t bytes) : path_(folder_.At("disk")) {
        std::filesystem::create_directory(path_);
        const std::string options = "size=" + std::to_string(bytes);
        mounted_ = (unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) &&
                   mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0 &&
                   mount("tmpfs", path_.c_str(), "tmpfs", 0, options.c_str()) == 0;
        if (!mounted_) reason_ = std::string("cannot mount a small disk: ") + std::strerror(errno);
    }
    ~SmallDisk() {
        if (mounted_) umount2(path_.c_str(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    /// Why there is no disk; empty when there is one.
    const std::string& GetReason() const { return reason_; }
    const std::string& GetPath() const { return path_; }
    std::string At(std::string_view name) const { return path_ + "/" + std::string(name); }

private:
    MIME::Test::TempFolder folder_;
    std::string path_;
    bool mounted_ = false;
    std::string reason_;
};

}  // namespace KivGuiBase
