#pragma once

#include <optional>

#include "mime/foundation/file_access.h"
#include "mime/parser/read_state.h"

namespace MIME {

/// Where the body of one entity goes while it is read: into a new temporary file, or, by option,
/// into memory as long as it is small.
class BodySink {
public:
    BodySink(Part& part, ReadState& state) noexcept : part_(part), state_(state) {}
    BodySink(const BodySink&) = delete;
    BodySink& operator=(const BodySink&) = delete;

    /// @param expectedSize  of the body, in bytes; only a hint.
    bool Open(int64_t expectedSize);

    bool Write(const void* data, uint64_t size) noexcept;

    /// Room for `size` bytes, at most kMaxRoom, that the next Commit counts.
    /// @return null when writing fails.
    char* GetWriteRoom(unsigned size) noexcept;
    void Commit(unsigned size) noexcept;
    static constexpr unsigned kMaxRoom = FileAccess::kMaxRoom;

    /// Ends the body, which then is in `data` of the part.
    bool Close() noexcept;

    /// Says in the reader's message why the last call failed; false, to be returned.
    bool Fail() noexcept;

private:
    bool OpenFile(int64_t expectedSize);
    bool MoveToFile() noexcept;
    bool Grow(uint64_t size) noexcept;

    Part& part_;
    ReadState& state_;
    std::optional<FileAccess> writer_;
    bool inMemory_ = false;
    bool tooMuch_ = false;  ///< the limit for all bodies was passed
    KivGuiBase::Blob memory_;
    unsigned used_ = 0;  ///< bytes of `memory_`
};

}  // namespace MIME
