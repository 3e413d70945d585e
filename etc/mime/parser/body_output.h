#pragma once

#include "mime/parser/body_sink.h"

namespace MIME {

/// Where a decoder puts its bytes: room in the file's own buffer, asked for in large pieces so
/// that a line costs a comparison and an addition. What was committed is in the file's buffer at
/// the latest when this goes.
class BodyOutput {
public:
    explicit BodyOutput(BodySink& sink) noexcept : sink_(sink) {}
    ~BodyOutput() { Flush(); }
    BodyOutput(const BodyOutput&) = delete;
    BodyOutput& operator=(const BodyOutput&) = delete;

    /// Room for `size` bytes, at most kMaxRoom, that the next Commit counts.
    /// @return null when writing fails.
    char* GetRoom(size_t size) noexcept {
        return size <= size_ - used_ ? room_ + used_ : GetFreshRoom(size);
    }
    void Commit(size_t size) noexcept { used_ += size; }
    static constexpr size_t kMaxRoom = BodySink::kMaxRoom;

    /// Writes bytes that are too many for a room.
    bool Write(const KivGuiBase::Blob& bytes) noexcept {
        Flush();
        return sink_.Write(bytes.GetData(), bytes.GetSize());
    }

private:
    void Flush() noexcept {
        if (used_ != 0) sink_.Commit(static_cast<unsigned>(used_));
        room_ = nullptr;
        size_ = used_ = 0;
    }

    char* GetFreshRoom(size_t size) noexcept {
        constexpr size_t kUsualRoom = 0x4000;
        Flush();
        const size_t wanted = size > kUsualRoom ? size : kUsualRoom;
        room_ = sink_.GetWriteRoom(static_cast<unsigned>(wanted));
        size_ = room_ != nullptr ? wanted : 0;
        return room_;
    }

    BodySink& sink_;
    char* room_ = nullptr;
    size_t size_ = 0;
    size_t used_ = 0;
};

}  // namespace MIME
