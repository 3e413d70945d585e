#pragma once

#include <filesystem>
#include <string>

/// Paths are texts in the tool as in the library: UTF-8 on Windows, plain bytes elsewhere. The
/// standard library's own conversions take another character set on Windows.
namespace Tool {

/// @throws std::filesystem::filesystem_error when the system's paths have no such text
inline std::filesystem::path ToPath(const std::string& text) {
    return std::u8string(text.begin(), text.end());
}

inline std::string FromPath(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

}  // namespace Tool
