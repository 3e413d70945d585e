#include "mailbox_walk.h"

#include <algorithm>
#include <system_error>

#include "files.h"

// A folder is listed as often as its names need to fit: each time the smallest names after the last one
// given are collected in a heap. A million short names fit at once.

namespace Tool {

namespace fs = std::filesystem;

namespace {

/// The smallest names of those that are offered, as many as fit.
class SmallestNames {
public:
    explicit SmallestNames(size_t maxBytes) : maxBytes_(maxBytes) {}

    void Offer(std::string name) {
        if (!isComplete_ && name > names_.front()) return;
        bytes_ += Measure(name);
        names_.push_back(std::move(name));
        std::push_heap(names_.begin(), names_.end());
        while (bytes_ > maxBytes_ && names_.size() > 1) {
            std::pop_heap(names_.begin(), names_.end());
            bytes_ -= Measure(names_.back());
            names_.pop_back();
            isComplete_ = false;
        }
    }

    bool IsComplete() const { return isComplete_; }

    /// The largest first.
    std::vector<std::string> Take() {
        std::sort(names_.begin(), names_.end(), std::greater<>());
        return std::move(names_);
    }

private:
    static size_t Measure(const std::string& name) {
        constexpr size_t kInPlace = 15;
        constexpr size_t kBlock = 24;  // what memory of its own takes beside the name
        return sizeof(std::string) + (name.size() > kInPlace ? name.size() + kBlock : 0);
    }

    const size_t maxBytes_;
    size_t bytes_ = 0;
    std::vector<std::string> names_;  ///< a heap
    bool isComplete_ = true;
};

/// The name of what is to be read, with "/" after that of a folder, so that names sort as paths do; empty
/// for what is left out.
std::string GetSortedName(const fs::directory_entry& entry, bool isRecursive) {
    std::string name = FromPath(entry.path().filename());
    std::error_code error;
    if (name.starts_with('.')) return {};
    if (entry.is_symlink(error)) return entry.is_directory(error) ? std::string() : name;
    if (entry.is_directory(error)) return isRecursive ? name + "/" : std::string();
    return entry.is_regular_file(error) ? name : std::string();
}

bool IsFolder(const std::string& path) {
    std::error_code ignored;
    return fs::is_directory(ToPath(path), ignored);
}

/// With "/" on every system, so that ids are the same.
std::string Join(const std::string& folder, const std::string& name) {
    return folder.ends_with('/') ? folder + name : folder + "/" + name;
}

}  // namespace

FolderWalk::FolderWalk(std::string folder, bool isRecursive, bool isMaildir)
    : isRecursive_(isRecursive), isMaildir_(isMaildir) {
    levels_.push_back({std::move(folder), {}, {}, false});
}

bool FolderWalk::List(Level& level, std::string& failure) const {
    constexpr size_t kMaxBytes =
        0x2000000;  // for the top; all below it together take about as much
    constexpr size_t kMinBytes = 0x400000;
    const size_t depth = std::min<size_t>(levels_.size() - 1, 3);
    SmallestNames names(std::max(kMaxBytes >> depth, kMinBytes));
    std::error_code error;
    for (fs::directory_iterator at(ToPath(level.folder), error), end; !error && at != end;
         at.increment(error)) {
        std::string name = GetSortedName(*at, isRecursive_);
        if (name > level.last) names.Offer(std::move(name));
    }
    level.isComplete = names.IsComplete();
    level.names = names.Take();
    if (error) failure = error.message();
    return !error;
}

std::optional<WalkedFile> FolderWalk::Next() {
    while (!levels_.empty()) {
        Level& level = levels_.back();
        if (level.names.empty()) {
            WalkedFile failed{level.folder, false, {}};
            const bool isListed = level.isComplete || List(level, failed.failure);
            if (!isListed) level.isComplete = true;
            if (level.names.empty()) levels_.pop_back();
            if (!isListed) return failed;
            continue;
        }
        level.last = std::move(level.names.back());
        level.names.pop_back();
        std::string path = Join(level.folder, level.last);
        if (!path.ends_with('/')) return WalkedFile{std::move(path), isMaildir_, {}};
        path.pop_back();
        levels_.push_back({std::move(path), {}, {}, false});
    }
    return std::nullopt;
}

void MailboxWalk::Enter(const std::string& folder) {
    if (IsFolder(Join(folder, "cur")) && IsFolder(Join(folder, "new"))) {
        folders_.emplace_back(Join(folder, "new"), false, true);
        folders_.emplace_back(Join(folder, "cur"), false, true);
    } else {
        folders_.emplace_back(folder, sources_.isRecursive, false);
    }
}

std::optional<WalkedFile> MailboxWalk::Next() {
    for (;;) {
        while (!folders_.empty()) {
            if (auto file = folders_.back().Next()) return file;
            folders_.pop_back();
        }
        if (nextFile_ == sources_.files.size()) return std::nullopt;
        const std::string& given = sources_.files[nextFile_++];
        if (given == "-" || !IsFolder(given)) return WalkedFile{given, false, {}};
        Enter(given);
    }
}

}  // namespace Tool
