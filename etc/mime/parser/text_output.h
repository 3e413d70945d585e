#pragma once

#include <string>

#include "mime/parser/body_codecs.h"
#include "mime/parser/read_limits.h"

namespace MIME {

/// Collects a decoded body in a string. What is decoded is written where it stays: the string grows by
/// one room at a time, so that no page of a large one is touched twice.
class TextOutput final : public BodyOutput {
public:
    /// @param limits  null when what is decoded does not count.
    TextOutput(std::string& text, Limits* limits) noexcept : text_(text), limits_(limits) {}

    /// Asks for the memory of the whole body at once.
    /// @param encodedSize  of the body. Throws std::bad_alloc.
    void Reserve(uint64_t encodedSize, TransferEncoding::keys encoding);

    /// @return false past the limit. Throws std::bad_alloc when there was no memory for all of it.
    bool Close();
    bool Fail() noexcept override { return isTooMuch_ && limits_->FailDecoded(); }

private:
    bool WriteBytes(std::string_view bytes) noexcept override;
    char* MakeRoom(unsigned size) noexcept override;
    void CommitRoom(unsigned size) noexcept override;

    std::string& text_;
    Limits* limits_;
    size_t used_ = 0;
    bool isTooMuch_ = false;
    bool isOutOfMemory_ = false;
};

}  // namespace MIME
