#include "kivgui/error.h"
#include "mime/foundation/guarded.h"
#include "mime/mime.h"

namespace MIME {

using KivGuiBase::FileType;

void Data::Clear() noexcept {
    if (ownsFile && !file.IsEmpty()) file.Remove(false);
    encoded = false;
    topLevel = false;
    ownsFile = false;
    content = AnsiStr();
    file = File();
}

Data& Data::operator=(const Data& other) noexcept {
    if (this == &other) return *this;
    Clear();
    encoded = other.encoded;
    topLevel = other.topLevel;
    content = other.content;
    file = other.file;
    ownsFile = other.ownsFile;
    if (!ownsFile || file.IsEmpty()) return *this;
    // Two objects must not both delete one file.
    file = File(FileType::temporary, other.file.GetPath(), true);
    const auto copyFile = [&] { return !file.IsEmpty() && other.file.Copy(file, true); };
    if (!Guarded(false, copyFile)) {
        const uint32_t reason = KivGuiBase::GetLastError();
        if (!file.IsEmpty()) file.Remove(false);
        KivGuiBase::SetLastError(reason);
        file = File();
    }
    return *this;
}

}  // namespace MIME
