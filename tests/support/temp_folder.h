#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace MIME::Test {

/// What the system is asked for: platform/posix and platform/windows answer. Paths are UTF-8.
namespace System {

/// Makes a new, empty folder in the folder for temporary files. One that cannot be made ends the
/// test.
/// @return its path, without a separator at its end.
std::string MakeTempFolder();

/// Makes `path` the folder for temporary files of this process.
void SetTempFolder(const std::string& path);

}  // namespace System

/// A new, empty folder that is the system's folder for temporary files for as long as this lives.
/// It goes with everything in it. For one thread; a process has one at a time, or nested ones.
class TempFolder {
public:
    TempFolder() { System::SetTempFolder(path_); }
    ~TempFolder() {
        System::SetTempFolder(before_);
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    /// The folder's path, without a separator at its end.
    const std::string& GetPath() const { return path_; }
    /// The path of `name` in the folder.
    std::string At(std::string_view name) const { return path_ + "/" + std::string(name); }
    /// The names of what is in the folder, sorted.
    std::vector<std::string> List() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path_)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    const std::string before_ = std::filesystem::temp_directory_path().string();
    const std::string path_ = System::MakeTempFolder();
};

/// The bytes of a file. A file that cannot be read ends the test.
inline std::string ReadWholeFile(std::string_view path) {
    std::ifstream in{std::filesystem::path(path), std::ios::binary};
    std::string content{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (!in.is_open() || in.bad()) throw std::runtime_error("cannot read " + std::string(path));
    return content;
}

/// Makes or replaces a file. A file that cannot be written ends the test.
inline void WriteWholeFile(std::string_view path, std::string_view content) {
    std::ofstream out{std::filesystem::path(path), std::ios::binary};
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    if (!out) throw std::runtime_error("cannot write " + std::string(path));
}

}  // namespace MIME::Test
