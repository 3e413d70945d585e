#include "support/temp_folder.h"

#include <random>

#include "kivgui/platform/windows/system.h"

namespace MIME::Test::System {

std::string MakeTempFolder() {
    std::random_device random;
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() /
        ("kivmime-test-" + std::to_string(random()) + "-" + std::to_string(GetCurrentProcessId()));
    if (!std::filesystem::create_directory(path)) {
        throw std::runtime_error("cannot make " + FromPath(path));
    }
    return FromPath(path);
}

void SetTempFolder(const std::string& path) {
    SetEnvironmentVariableW(L"TMP", ToPath(path).c_str());
}

void MakeLink(const std::string& target, const std::string& link) {
    constexpr DWORD kFlags = SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE;
    const std::filesystem::path path = ToPath(link);
    // Wine reports success, but makes nothing.
    if (!CreateSymbolicLinkW(path.c_str(), ToPath(target).c_str(), kFlags) ||
        GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
        throw std::runtime_error("cannot make the link " + link);
    }
}

}  // namespace MIME::Test::System
