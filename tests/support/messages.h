#pragma once

#include <cstdlib>
#include <filesystem>
#include <vector>

namespace MIME::Test {

/// The messages of the tests, and those of the folder that KIVMIME_CORPUS names.
inline std::vector<std::filesystem::path> FindMessages() {
    namespace fs = std::filesystem;
    std::vector<fs::path> folders = {fs::path(MIME_TEST_DATA_DIR) / "mail"};
    if (const char* more = std::getenv("KIVMIME_CORPUS")) folders.emplace_back(more);
    std::vector<fs::path> messages;
    for (const fs::path& folder : folders) {
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            const bool isText = entry.path().extension() != ".tree";
            if (entry.is_regular_file() && isText) messages.push_back(entry.path());
        }
    }
    return messages;
}

}  // namespace MIME::Test
