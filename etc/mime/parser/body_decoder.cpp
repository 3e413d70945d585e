#include "mime/parser/body_decoder.h"

#include "kivgui/base64_kernel.h"
#include "mime/encoding/quoted_printable.h"

namespace MIME {

bool Base64BodyDecoder::TakePlainLines(Cursor& cursor) noexcept {
    // Longer lines take the general way.
    constexpr size_t kLongestLine = 0x4000;
    if (!pending_.IsEmpty()) return true;
    for (;;) {
        const std::string_view text = cursor.GetRest().substr(0, kLongestLine);
        char* room = output_.GetRoom(kLongestLine / 4 * 3);
        if (room == nullptr) return sink_.Fail();
        auto* out = reinterpret_cast<unsigned char*>(room);
        const size_t length =
            KivGuiBase::Base64::DecodeGroups(text.data(), text.size() / 4 * 4, out);
        if (length == 0 || !cursor.GetRest().substr(length).starts_with("\r\n")) return true;
        output_.Commit(length / 4 * 3);
        cursor.Skip(length + 2);
    }
}

bool Base64BodyDecoder::DecodeLine(std::string_view line) noexcept {
    if (line.size() > AnsiStr::kMaxLength - pending_.GetLength()) {
        return state_.Fail(Messages::kLineTooLong);
    }
    pending_.Append(line, KivGuiBase::Growth::spare);
    return pending_.IsEmpty() || pending_.GetLength() % 4 != 0 || DecodePending();
}

bool Base64BodyDecoder::DecodePending() noexcept {
    const uint64_t room = uint64_t{pending_.GetLength()} * 6 / 8;
    auto size = static_cast<unsigned>(room);
    char* bytes = bytes_.Renew(size);
    if (bytes == nullptr) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorNotEnoughMemory);
        return sink_.Fail();
    }
    if (!KivGuiBase::B64Str2Binary(pending_, bytes, size, "\r\n")) {
        return state_.Fail(Messages::UnexpectedData("base64", pending_));
    }
    pending_.Trunc(0);
    return (bytes_.Resize(size) && output_.Write(bytes_)) || sink_.Fail();
}

bool QuotedPrintableBodyDecoder::TakePlainLines(Cursor& cursor) noexcept {
    constexpr size_t kPass = 0x4000;
    if (state_.options.lineFeeds) return true;  // the pass knows CR LF alone
    for (;;) {
        char* room = output_.GetRoom(kPass);
        if (room == nullptr) return sink_.Fail();
        const QuotedPrintable::Progress done =
            QuotedPrintable::DecodePlainLines(cursor.GetRest().substr(0, kPass), room);
        if (done.taken == 0) return true;
        output_.Commit(done.written);
        cursor.Skip(done.taken);
    }
}

bool QuotedPrintableBodyDecoder::DecodeLine(std::string_view line) noexcept {
    constexpr size_t kLineEnd = 2;
    if (line.size() > AnsiStr::kMaxLength) {
        return state_.Fail(Messages::kLineTooLong);
    }
    if (line.size() > BodyOutput::kMaxRoom - kLineEnd) {
        if (!Encoding::QPDecodeLine({line.data(), static_cast<unsigned>(line.size())}, bytes_)) {
            return state_.Fail(Messages::UnexpectedData("quoted-printable", line));
        }
        return output_.Write(bytes_) || sink_.Fail();
    }
    char* room = output_.GetRoom(line.size() + kLineEnd);
    if (room == nullptr) return sink_.Fail();
    output_.Commit(QuotedPrintable::DecodeLine(line, room));
    return true;
}

}  // namespace MIME
