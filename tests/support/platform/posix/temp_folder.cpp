#include "support/temp_folder.h"

#include <sys/stat.h>

#include <cstdlib>

namespace MIME::Test::System {

std::string MakeTempFolder() {
    std::string path = FromPath(std::filesystem::temp_directory_path()) + "/kivmime-test-XXXXXX";
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("cannot make " + path);
    return path;
}

void SetTempFolder(const std::string& path) {
    setenv("TMPDIR", path.c_str(), 1);
}

void MakeLink(const std::string& target, const std::string& link) {
    std::filesystem::create_symlink(target, link);
}

bool IsOwnersAlone(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && (status.st_mode & 07777) == 0600;
}

std::string GetFullDevice() {
    return "/dev/full";
}

}  // namespace MIME::Test::System
