#include "benchmarks/new_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "benchmarks/limit.h"

namespace MIME::Bench {

namespace fs = std::filesystem;

namespace {

void MakeFile(const std::string& path, const char* content, size_t size) {
    const int file = open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
    const bool written = size == 0 || write(file, content, size) == static_cast<ssize_t>(size);
    if (file < 0 || close(file) != 0 || !written) throw std::runtime_error("cannot write " + path);
}

void ReadFile(const std::string& path, std::string& buffer) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (read(file, buffer.data(), buffer.size()) < 0 || close(file) != 0) {
        throw std::runtime_error("cannot read " + path);
    }
}

std::vector<std::string> GetPaths(const Test::TempFolder& folder) {
    std::vector<std::string> paths;
    for (const std::string& name : folder.List()) paths.push_back(folder.At(name));
    return paths;
}

}  // namespace

void WipeUntimed(benchmark::State& state, const Test::TempFolder& folder) {
    state.PauseTiming();
    for (const std::string& path : GetPaths(folder)) fs::remove(path);
    state.ResumeTiming();
}

std::vector<size_t> GetFileSizes(const Test::TempFolder& folder) {
    std::vector<size_t> sizes;
    for (const std::string& path : GetPaths(folder)) sizes.push_back(fs::file_size(path));
    return sizes;
}

void MeasureNewFiles(benchmark::State& state, const std::vector<size_t>& sizes, uint64_t bytes,
                     const Test::TempFolder* sources) {
    std::vector<std::string> sourcePaths;
    if (sources != nullptr) sourcePaths = GetPaths(*sources);
    const Test::TempFolder folder;
    // No source is larger than the file that its content goes into.
    std::string content(*std::max_element(sizes.begin(), sizes.end()), 'x');
    std::vector<std::string> paths;
    for (size_t i = 0; i < sizes.size(); ++i) {
        paths.push_back(folder.At("mimeio-body-" + std::to_string(i)));
    }
    for (auto step : state) {
        for (const std::string& path : sourcePaths) ReadFile(path, content);
        for (size_t i = 0; i < sizes.size(); ++i) {
            MakeFile(paths[i], content.data(), sizes[i]);
        }
        WipeUntimed(state, folder);
    }
    SetBytesAndLimit(state, bytes, "");
}

}  // namespace MIME::Bench
