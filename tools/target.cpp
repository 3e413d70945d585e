#include "target.h"

#include <filesystem>
#include <string_view>
#include <system_error>

#include <mime/mime.h>

#include "failure.h"
#include "leftovers.h"
#include "paths.h"

namespace Tool {

namespace fs = std::filesystem;

namespace {

/// Something that nobody can predict, so that nobody can put a link there first.
std::string MakeName() {
    unsigned char random[8];
    KivGuiBase::GetUnpredictableBytes(random, sizeof random);
    const MIME::AnsiStr digits = KivGuiBase::Binary2B16Str(random, sizeof random, 0, "");
    return ".kivmime-" + std::string(std::string_view(digits)) + ".part";
}

}  // namespace

bool IsStream(const std::string& target) {
    std::error_code ignored;
    return target == "-" || fs::is_other(fs::status(ToPath(target), ignored));
}

void ReplaceFile(const std::string& target, const std::function<void(const std::string&)>& write) {
    fs::path path = ToPath(target);
    std::error_code error;
    if (fs::exists(path, error)) path = fs::canonical(path, error);
    if (error) throw Failure(target, error.message());
    const fs::path partPath = path.parent_path() / MakeName();
    const std::string part = FromPath(partPath);
    // The name is new, so nothing can be there yet that is not ours.
    Leftovers::Add([&part] { return std::string(part); });
    write(part);
    const fs::file_status old = fs::status(path, error);
    if (fs::exists(old)) fs::permissions(partPath, old.permissions(), error);
    fs::rename(partPath, path, error);
    if (error) throw Failure(target, error.message());
    Leftovers::Keep(part);
}

}  // namespace Tool
