#include "support/temp_folder.h"

#include <cstdlib>

namespace MIME::Test::System {

std::string MakeTempFolder() {
    std::string path = std::filesystem::temp_directory_path().string() + "/kivmime-test-XXXXXX";
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("cannot make " + path);
    return path;
}

void SetTempFolder(const std::string& path) {
    setenv("TMPDIR", path.c_str(), 1);
}

}  // namespace MIME::Test::System
