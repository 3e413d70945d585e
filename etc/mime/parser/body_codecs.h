#pragma once

#include <memory>
#include <string_view>

#include "mime/mime.h"
#include "mime/parser/delimiters.h"
#include "mime/parser/reading.h"

namespace MIME {

/// Where decoded bytes go. Decoders write into its room directly: a line costs a comparison and an
/// addition, because room is asked for in large pieces.
class BodyOutput {
public:
    static constexpr size_t kMaxRoom = 0x20000;

    virtual ~BodyOutput() = default;
    BodyOutput(const BodyOutput&) = delete;
    BodyOutput& operator=(const BodyOutput&) = delete;

    /// Room for `size` bytes, at most kMaxRoom, which the next Commit counts.
    /// @return null when writing fails.
    char* GetRoom(size_t size) noexcept {
        return size <= size_ - used_ ? room_ + used_ : GetFreshRoom(size);
    }
    void Commit(size_t size) noexcept { used_ += size; }

    bool Write(std::string_view bytes) noexcept {
        Flush();
        return WriteBytes(bytes);
    }

    /// Puts the reason why the last call failed into the reader's error text; returns false.
    virtual bool Fail() noexcept = 0;

protected:
    BodyOutput() = default;

    /// Counts what was committed.
    void Flush() noexcept {
        if (used_ != 0) CommitRoom(static_cast<unsigned>(used_));
        room_ = nullptr;
        size_ = used_ = 0;
    }

private:
    char* GetFreshRoom(size_t size) noexcept;

    virtual bool WriteBytes(std::string_view bytes) noexcept = 0;
    virtual char* MakeRoom(unsigned size) noexcept = 0;
    virtual void CommitRoom(unsigned size) noexcept = 0;

    char* room_ = nullptr;
    size_t size_ = 0;
    size_t used_ = 0;
};

/// Decodes one body, given in pieces, into its output. False, with a message, on failure.
class BodyCodec {
public:
    virtual ~BodyCodec() = default;

    /// Takes text in which decoding itself finds that there is no delimiter, if it can.
    virtual bool TakePlain(Cursor& /*cursor*/) noexcept { return true; }
    /// By the exact rules a piece is a line without its line end; by the mail rules whole lines where
    /// there are any; of an identity encoding, any bytes.
    virtual bool Take(std::string_view piece) = 0;
    virtual bool TakeLast(std::string_view piece) = 0;
};

/// The decoder of a transfer encoding, by the rules of the reading. The body begins at the cursor.
/// @return null, with a message, when there is none. Throws std::bad_alloc.
std::unique_ptr<BodyCodec> MakeBodyCodec(TransferEncoding::keys encoding, BodyOutput& output,
                                         Reading& reading);

/// Gives the codec the body at the cursor, up to its end: the loop that every body goes through.
bool TakeBody(BodyCodec& codec, Delimiters& delimiters, Reading& reading);

}  // namespace MIME
