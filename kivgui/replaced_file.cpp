#include "kivgui/replaced_file.h"

#include <algorithm>

#include "kivgui/convert.h"
#include "kivgui/error.h"
#include "kivgui/memory.h"
#include "kivgui/platform/platform.h"
#include "kivgui/random.h"

namespace KivGuiBase {

namespace {

/// A path for a new file, with a name that nobody can predict, so that nobody can put a link there
/// first. Empty, with the last error set, on failure.
AnsiStr MakeNewPath(const AnsiStr& folder) noexcept {
    unsigned char random[8];
    if (!GetUnpredictableBytes(random, sizeof random)) return {};
    const MemoryWatch watch;
    const AnsiStr path =
        folder + ".kivmime-" + Binary2B16Str(random, sizeof random, 0, "") + ".part";
    return watch.HasFailed() ? AnsiStr() : path;
}

bool Exists(const AnsiStr& path, bool& exists) noexcept {
    exists = Platform::GetFileSize(path.GetStr()) >= 0;
    return exists || GetLastError() == kErrorFileNotFound;
}

}  // namespace

ReplacedFile::~ReplacedFile() {
    const uint32_t reason = GetLastError();
    file_.Close();
    if (!new_.IsEmpty()) new_.Remove(false);
    SetLastError(reason);
}

bool ReplacedFile::Open(const File& target) noexcept {
    if (std::string_view(target.GetPath()).find('\0') != std::string_view::npos) {
        SetLastError(kErrorInvalidParameter);
        return false;
    }
    Platform::Target found;
    if (!Platform::FindTarget(target.GetPath().GetStr(), found)) return false;
    if (found.isStream) return file_.Open(File(found.path), DiskFile::Mode::create);
    const File made(MakeNewPath(found.folder));
    if (made.IsEmpty() || !file_.Open(made, DiskFile::Mode::createNew)) return false;
    folder_ = found.folder;
    target_ = found.path;
    new_ = made;
    return true;
}

bool ReplacedFile::Write(const void* data, size_t size) noexcept {
    constexpr size_t kMaxWrite = 1 << 30;  // sizes of DiskFile have 32 bits
    const char* next = static_cast<const char*>(data);
    while (size != 0) {
        const size_t part = std::min(size, kMaxWrite);
        if (!file_.Write(next, static_cast<unsigned>(part))) return false;
        next += part;
        size -= part;
    }
    return true;
}

bool ReplacedFile::TakePermissions() noexcept {
    const auto copyFrom = [this](const AnsiStr& model) {
        return Platform::CopyPermissions(file_.handle_, new_.GetPath().GetStr(), model.GetStr());
    };
    const uint32_t before = GetLastError();
    bool exists = false;
    if (!Exists(target_, exists)) return false;
    if (exists) return copyFrom(target_);
    SetLastError(before);
    // Only a file that was made with them tells what the user's settings and the folder's are.
    const File sample(MakeNewPath(folder_));
    DiskFile empty;
    if (sample.IsEmpty() || !empty.Open(sample, DiskFile::Mode::create)) return false;
    const bool isCopied = empty.Close() && copyFrom(sample.GetPath());
    const uint32_t reason = GetLastError();
    const bool isRemoved = sample.Remove(false);
    if (!isCopied) SetLastError(reason);
    return isCopied && isRemoved;
}

bool ReplacedFile::Commit() noexcept {
    if (!file_.Flush()) return false;
    if (new_.IsEmpty()) return file_.Close();
    if (!Platform::FlushFile(file_.handle_) || !TakePermissions() || !file_.Close() ||
        !Platform::RenameFile(new_.GetPath().GetStr(), target_.GetStr())) {
        return false;
    }
    new_ = File();
    return true;
}

}  // namespace KivGuiBase
