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

/// Paths of the tests are texts as the library's: UTF-8 on Windows, plain bytes elsewhere. The
/// standard library's own conversions take another character set on Windows.
inline std::filesystem::path ToPath(std::string_view text) {
    return std::u8string(text.begin(), text.end());
}
inline std::string FromPath(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

/// What the system is asked for: platform/posix and platform/windows answer.
namespace System {

/// Makes a new, empty folder in the folder for temporary files. One that cannot be made ends the
/// test.
/// @return its path, without a separator at its end.
std::string MakeTempFolder();

/// Makes `path` the folder for temporary files of this process.
void SetTempFolder(const std::string& path);

/// Makes a symbolic link to a file. One that cannot be made ends the test.
void MakeLink(const std::string& target, const std::string& link);

/// Whether nobody but its owner may read or write a file.
bool IsOwnersAlone(const std::string& path);

/// A device that takes no byte; empty when the system has none.
std::string GetFullDevice();

}  // namespace System

/// A new, empty folder that is the system's folder for temporary files for as long as this lives.
/// It goes with everything in it. For one thread; a process has one at a time, or nested ones.
class TempFolder {
public:
    TempFolder() { System::SetTempFolder(path_); }
    ~TempFolder() {
        System::SetTempFolder(before_);
        std::error_code ignored;
        std::filesystem::remove_all(ToPath(path_), ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    /// The folder's path, without a separator at its end.
    const std::string& GetPath() const { return path_; }
    /// The path of `name` in the folder.
    std::string At(std::string_view name) const { return FromPath(ToPath(path_) / ToPath(name)); }
    /// The names of what is in the folder, sorted.
    std::vector<std::string> List() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(ToPath(path_))) {
            names.push_back(FromPath(entry.path().filename()));
        }
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    const std::string before_ = FromPath(std::filesystem::temp_directory_path());
    const std::string path_ = System::MakeTempFolder();
};

/// The bytes of a file. A file that cannot be read ends the test.
inline std::string ReadWholeFile(std::string_view path) {
    std::ifstream in{ToPath(path), std::ios::binary};
    std::string content{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (!in.is_open() || in.bad()) throw std::runtime_error("cannot read " + std::string(path));
    return content;
}

/// Makes or replaces a file. A file that cannot be written ends the test.
inline void WriteWholeFile(std::string_view path, std::string_view content) {
    std::ofstream out{ToPath(path), std::ios::binary};
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    if (!out) throw std::runtime_error("cannot write " + std::string(path));
}

}  // namespace MIME::Test
