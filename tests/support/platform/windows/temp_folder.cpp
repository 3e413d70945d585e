#include "support/temp_folder.h"

#include <random>

#include "kivgui/platform/windows/system.h"

namespace MIME::Test::System {

std::string MakeTempFolder() {
    std::random_device random;
    const std::string path = (std::filesystem::temp_directory_path() /
                              ("kivmime-test-" + std::to_string(random()) + "-" +
                               std::to_string(GetCurrentProcessId())))
                                 .string();
    if (!std::filesystem::create_directory(path)) throw std::runtime_error("cannot make " + path);
    return path;
}

void SetTempFolder(const std::string& path) {
    SetEnvironmentVariableW(L"TMP", std::filesystem::path(path).c_str());
}

}  // namespace MIME::Test::System
