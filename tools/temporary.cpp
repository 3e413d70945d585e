#include "temporary.h"

#include <filesystem>
#include <mutex>
#include <system_error>
#include <unordered_set>

#include "files.h"
#include "output.h"
#include "platform/system.h"

// One mutex serialises all changes of the list with the creation and removal of what is on it. An
// interrupt is handled on a thread of its own, so a file is either on the list or does not exist
// yet when that thread removes everything.

namespace Tool {

namespace Leftovers {

namespace {

struct List {
    std::mutex mutex;
    std::unordered_set<std::string> paths;
};

/// Never destroyed: an interrupt may come while the process is ending.
List& GetList() {
    static List& list = *new List;
    return list;
}

void Remove(std::filesystem::path path) {
    std::error_code ignored;
    // Another thread may be making files in the folder. Renaming the folder first stops that.
    if (std::filesystem::is_directory(path, ignored)) {
        std::filesystem::path gone = path;
        gone += ".gone";
        std::filesystem::rename(path, gone, ignored);
        if (!ignored) path = gone;
    }
    // A file that was being made at that moment may still appear during the first try.
    constexpr int kTries = 5;
    for (int i = 0; i < kTries; ++i) {
        std::filesystem::remove_all(path, ignored);
        if (!ignored) return;
    }
}

void RemovePaths(List& list) {
    for (const std::string& path : list.paths) Remove(ToPath(path));
    list.paths.clear();
}

}  // namespace

std::string Add(const std::function<std::string()>& make) {
    List& list = GetList();
    const std::lock_guard lock(list.mutex);
    return *list.paths.insert(make()).first;
}

void RemoveOnInterrupt() {
    System::OnInterrupt(RemoveAllForGood);
}

void Keep(const std::string& path, const std::function<void()>& complete) {
    List& list = GetList();
    const std::lock_guard lock(list.mutex);
    complete();
    list.paths.erase(path);
}

void RemoveAll() {
    List& list = GetList();
    const std::lock_guard lock(list.mutex);
    RemovePaths(list);
}

void RemoveAllForGood() {
    List& list = GetList();
    list.mutex.lock();
    RemovePaths(list);
}

}  // namespace Leftovers

std::string WorkFolder::MakePath(const std::string& name) {
    if (path_.empty()) {
        try {
            Leftovers::Add([this] { return path_ = System::MakeTemporaryFolder(); });
            System::SetTemporaryFolder(path_);
        } catch (const std::system_error& error) {
            throw Failure("folder for temporary files", error.what());
        }
    }
    return path_ + "/" + name + "-" + std::to_string(++count_);
}

}  // namespace Tool
