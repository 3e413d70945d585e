#include "leftovers.h"

#include <filesystem>
#include <mutex>
#include <system_error>
#include <unordered_set>

#include "paths.h"

namespace Tool::Leftovers {

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
    // Another thread may be making files in the folder. Under its new name it finds none.
    if (std::filesystem::is_directory(path, ignored)) {
        std::filesystem::path gone = path;
        gone += ".gone";
        std::filesystem::rename(path, gone, ignored);
        if (!ignored) path = gone;
    }
    // A file that was being made at that moment may appear behind the back of the first try.
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

void Add(const std::function<std::string()>& make) {
    List& list = GetList();
    const std::lock_guard lock(list.mutex);
    list.paths.insert(make());
}

void Keep(const std::string& path) {
    List& list = GetList();
    const std::lock_guard lock(list.mutex);
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

}  // namespace Tool::Leftovers
