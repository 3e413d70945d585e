#include "pass_phrase.h"

#include <cstdio>

#include "kivgui/error.h"
#include "output.h"

namespace Tool {

/// Reads a line without its end. @return what is wrong with it; null when nothing is.
const char* PassPhrase::Read(std::FILE* source) {
    for (int c = std::getc(source); c != EOF && c != '\n'; c = std::getc(source)) {
        if (c == '\0') return "the pass phrase has a NUL";
        if (length_ == kMaxLength) return "the pass phrase is too long";
        buffer_[length_++] = static_cast<char>(c);
    }
    if (length_ != 0 && buffer_[length_ - 1] == '\r') --length_;
    return nullptr;
}

PassPhrase::PassPhrase(const std::string& path) {
    if (path.empty()) return;
    const Stream source(std::fopen(path.c_str(), "rb"));
    if (source == nullptr) throw Failure(path, GetSystemReason());
    std::setvbuf(source.get(), nullptr, _IONBF, 0);  // a buffer would keep a copy
    const char* const fault = Read(source.get());
    if (fault != nullptr || std::ferror(source.get()) != 0) {
        const std::string reason = fault != nullptr ? fault : GetSystemReason();
        Wipe();
        throw Failure(path, reason);
    }
}

std::string ExplainError(const MIME::Error& error, const Signer& signer) {
    const bool isProtected = error.GetSystemCode() == KivGuiBase::kErrorInvalidPassword;
    if (!isProtected || signer.file.empty() || !signer.passFile.empty()) return error.GetText();
    return signer.file + ": is protected by a pass phrase; --pass-file names a file with it";
}

void PassPhrase::Wipe() {
    for (volatile char* c = buffer_; c != buffer_ + kMaxLength; ++c) *c = '\0';
}

}  // namespace Tool
