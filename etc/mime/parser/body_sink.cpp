#include "mime/parser/body_sink.h"

#include <algorithm>
#include <cstring>

#include "mime/parser/body_name.h"
#include "mime/parser/messages.h"

namespace MIME {

bool BodySink::Open(int64_t expectedSize) {
    inMemory_ = state_.options.bodiesInMemory;
    return inMemory_ || OpenFile(expectedSize);
}

bool BodySink::OpenFile(int64_t expectedSize) {
    part_.data.file = MakeBodyFile(part_.headers);
    writer_.emplace(part_.data.file);
    if (!writer_->OpenForWriting(expectedSize, FileAccess::Target::newFile)) return false;
    state_.KeepInMind(part_.data.file);
    part_.data.ownsFile = state_.options.ownFiles;
    return true;
}

bool BodySink::MoveToFile() noexcept {
    inMemory_ = false;
    try {
        if (!OpenFile(FileAccess::kDiskFileSize)) return false;
    } catch (const std::bad_alloc&) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorNotEnoughMemory);
        return false;
    }
    const bool moved = writer_->Write(memory_.GetData(), used_);
    memory_ = KivGuiBase::Blob();
    used_ = 0;
    return moved;
}

/// Makes room behind what is in memory; when that would be too much, what there is goes to a file.
bool BodySink::Grow(uint64_t size) noexcept {
    const uint64_t wanted = used_ + size;
    if (wanted <= memory_.GetSize()) return true;
    // A room may be larger than what comes into it; Close looks again.
    if (wanted > uint64_t{state_.options.memoryLimit} + kMaxRoom) return MoveToFile();
    const uint64_t capacity = std::max<uint64_t>(wanted, uint64_t{memory_.GetSize()} * 2);
    if (memory_.Resize(static_cast<unsigned>(std::min<uint64_t>(capacity, AnsiStr::kMaxLength)))) {
        return true;
    }
    KivGuiBase::SetLastError(KivGuiBase::kErrorNotEnoughMemory);
    return false;
}

bool BodySink::Write(const void* data, uint64_t size) noexcept {
    if (!state_.CountDecoded(size)) {
        tooMuch_ = true;
        return false;
    }
    if (inMemory_ && !Grow(size)) return false;
    if (!inMemory_) return writer_->Write(data, size);
    // Behind a successful Resize the body is this handle's alone.
    if (size != 0) std::memcpy(const_cast<char*>(memory_.GetData()) + used_, data, size);
    used_ += static_cast<unsigned>(size);
    return true;
}

char* BodySink::GetWriteRoom(unsigned size) noexcept {
    if (tooMuch_) return nullptr;
    if (inMemory_ && !Grow(size)) return nullptr;
    if (!inMemory_) return writer_->GetWriteRoom(size);
    return const_cast<char*>(memory_.GetData()) + used_;
}

void BodySink::Commit(unsigned size) noexcept {
    // The room was asked for before its bytes were known, so the failure shows at the next call.
    if (!state_.CountDecoded(size)) tooMuch_ = true;
    if (inMemory_) {
        used_ += size;
    } else {
        writer_->Commit(size);
    }
}

bool BodySink::Close() noexcept {
    if (inMemory_ && used_ > state_.options.memoryLimit && !MoveToFile()) return false;
    if (!inMemory_) return writer_->Close() && !tooMuch_;
    part_.data.content = AnsiStr(memory_.GetData(), used_);
    return !tooMuch_ && part_.data.content.GetLength() == used_;
}

bool BodySink::Fail() noexcept {
    return state_.Fail(
        tooMuch_ ? Messages::LimitReached("bytes of bodies", state_.options.maxDecodedBytes)
                 : Messages::WriteFailed());
}

}  // namespace MIME
