#include "pass_phrase.h"

#include <algorithm>
#include <cstdio>
#include <new>

#include "files.h"
#include "output.h"

namespace Tool {

namespace {

/// Reads a line without its end into `buffer`. @return what is wrong with it; null when nothing is.
const char* ReadLine(std::FILE* source, char* buffer, unsigned room) {
    unsigned length = 0;
    for (int c = std::getc(source); c != EOF && c != '\n'; c = std::getc(source)) {
        if (c == '\0') return "the pass phrase has a NUL";
        if (length == room) return "the pass phrase is too long";
        buffer[length++] = static_cast<char>(c);
    }
    if (length != 0 && buffer[length - 1] == '\r') --length;
    buffer[length] = '\0';
    return nullptr;
}

}  // namespace

PassPhrase::PassPhrase(const std::string& path) : text_(kMaxLength, buffer_) {
    if (buffer_ == nullptr) throw std::bad_alloc();
    const Stream source(std::fopen(path.c_str(), "rb"));
    if (source == nullptr) throw Failure(path, GetSystemReason());
    std::setvbuf(source.get(), nullptr, _IONBF, 0);  // a buffer would keep a copy
    const char* const fault = ReadLine(source.get(), buffer_, kMaxLength);
    if (fault != nullptr || std::ferror(source.get()) != 0) {
        const std::string reason = fault != nullptr ? fault : GetSystemReason();
        Wipe();
        throw Failure(path, reason);
    }
}

void PassPhrase::Wipe() {
    if (buffer_ == nullptr) return;
    volatile char* const last = buffer_ + kMaxLength;
    for (volatile char* c = buffer_; c != last; ++c) *c = '\0';
}

}  // namespace Tool
