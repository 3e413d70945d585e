#include "mime/parser/text_output.h"

#include <algorithm>
#include <new>

#include "kivgui/memory.h"
#include "mime/encoding/lenient_decoder.h"

namespace MIME {

void TextOutput::Reserve(uint64_t encodedSize, TransferEncoding::keys encoding) {
    if (encodedSize > text_.max_size()) throw std::bad_alloc();
    const auto size = static_cast<size_t>(encodedSize);
    const bool isBase64 = encoding == TransferEncoding::base64;
    // The last room is for what is still encoded, which is more than what will be decoded.
    const size_t expected = isBase64 ? size / 4 * 3 + std::min(size / 4 + 3, kMaxRoom) : size;
    text_.reserve(expected + kLenientRoom);
    // Line ends and escapes take this part of nearly every body; what it leaves is filled.
    KivGuiBase::UseLargePages(text_.data(), isBase64 ? size / 100 * 73 : size / 10 * 9);
}

bool TextOutput::Close() {
    Flush();
    if (isOutOfMemory_) throw std::bad_alloc();
    text_.resize(used_);
    return !isTooMuch_;
}

bool TextOutput::WriteBytes(std::string_view bytes) noexcept {
    char* const room = MakeRoom(static_cast<unsigned>(bytes.size()));
    if (room == nullptr) return false;
    std::copy(bytes.begin(), bytes.end(), room);
    CommitRoom(static_cast<unsigned>(bytes.size()));
    return !isTooMuch_;
}

char* TextOutput::MakeRoom(unsigned size) noexcept {
    if (isTooMuch_) return nullptr;
    try {
        if (text_.size() < used_ + size) text_.resize(used_ + size);
        return text_.data() + used_;
    } catch (const std::bad_alloc&) {
        isOutOfMemory_ = true;
        return nullptr;
    }
}

void TextOutput::CommitRoom(unsigned size) noexcept {
    used_ += size;
    if (limits_ != nullptr && !limits_->CountDecoded(size)) isTooMuch_ = true;
}

}  // namespace MIME
