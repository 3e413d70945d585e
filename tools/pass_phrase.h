#pragma once

#include <string>
#include <string_view>

#include <mime/mail.h>

#include "files.h"

namespace Tool {

/// Who signs.
struct Signer {
    std::string file;      ///< with the key and its certificate; empty for nobody
    std::string passFile;  ///< its first line is the pass phrase; empty: there is none
};

/// A pass phrase, which is overwritten when the object is destroyed.
class PassPhrase {
public:
    /// The first line of a file, a pipe or a device, without its line end; nothing for no path.
    /// @throws Failure when it cannot be read, or the line is too long or has a NUL.
    explicit PassPhrase(const std::string& path);
    ~PassPhrase() { Wipe(); }
    PassPhrase(const PassPhrase&) = delete;
    PassPhrase& operator=(const PassPhrase&) = delete;

    std::string_view GetText() const { return {buffer_, length_}; }

private:
    static constexpr size_t kMaxLength = 4096;
    const char* Read(std::FILE* source);
    void Wipe();

    char buffer_[kMaxLength] = {};
    size_t length_ = 0;
};

/// What to say of an error when something was to be signed: that the key is protected, where that is why.
std::string ExplainError(const MIME::Error& error, const Signer& signer);

/// Has a Composer or an Edit sign what it writes, if somebody signs. @throws Failure
template <class Writer>
void SignWith(Writer& writer, const Signer& signer) {
    if (signer.file.empty()) return;
    writer.SignWith(ToPath(signer.file), PassPhrase(signer.passFile).GetText());
}

}  // namespace Tool
