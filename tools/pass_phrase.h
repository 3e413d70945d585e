#pragma once

#include <string>

#include <mime/mime.h>

namespace Tool {

/// A pass phrase, which is overwritten when the object is destroyed.
class PassPhrase {
public:
    /// No pass phrase.
    PassPhrase() = default;
    /// The first line of a file, a pipe or a device, without its line end.
    /// @throws Failure when it cannot be read, or the line is too long or has a NUL.
    explicit PassPhrase(const std::string& path);
    ~PassPhrase() { Wipe(); }
    PassPhrase(const PassPhrase&) = delete;
    PassPhrase& operator=(const PassPhrase&) = delete;

    const MIME::AnsiStr& GetText() const { return text_; }

private:
    static constexpr unsigned kMaxLength = 4096;
    void Wipe();

    char* buffer_ = nullptr;  ///< of `text_`, which sets it: kMaxLength characters and a NUL
    MIME::AnsiStr text_;
};

}  // namespace Tool
