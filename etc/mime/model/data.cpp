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
    if (ownsFile && !file.IsEmpty()) {
        // Two objects must not both delete one file.
        file = File(FileType::temporary, file.GetPath(), true);
        if (!other.file.Copy(file, true)) {
            file.Remove(false);
            file = File();
        }
    }
    return *this;
}

}  // namespace MIME
