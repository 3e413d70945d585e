#include "mime/parser/body_decoder.h"

#include "kivgui/base64_kernel.h"
#include "mime/encoding/quoted_printable.h"

namespace MIME {

namespace {

bool WriteBlob(FileAccess& writer, const Blob& bytes, AnsiStr& error) noexcept {
    if (writer.Write(bytes.GetData(), bytes.GetSize())) return true;
    error = Messages::WriteFailed();
    return false;
}

}  // namespace

bool Base64BodyDecoder::DecodeLine(std::string_view line) noexcept {
    if (pending_.IsEmpty() && line.size() % 4 == 0) {
        bool decoded = false;
        if (!DecodeWholeGroups(line, decoded)) return false;
        if (decoded) return true;
    }
    if (line.size() > AnsiStr::kMaxLength - pending_.GetLength()) {
        error_ = Messages::kLineTooLong;
        return false;
    }
    pending_.Append(line, KivGuiBase::Growth::spare);
    return pending_.IsEmpty() || pending_.GetLength() % 4 != 0 || DecodePending();
}

/// The usual line, all alphabet: decoded straight into the file's buffer.
bool Base64BodyDecoder::DecodeWholeGroups(std::string_view line, bool& decoded) noexcept {
    const size_t size = line.size() / 4 * 3;
    if (size > FileAccess::kMaxRoom) return true;
    char* room = writer_.GetWriteRoom(static_cast<unsigned>(size));
    if (room == nullptr) {
        error_ = Messages::WriteFailed();
        return false;
    }
    auto* out = reinterpret_cast<unsigned char*>(room);
    decoded = KivGuiBase::Base64::DecodeGroups(line.data(), line.size(), out) == line.size();
    if (decoded) writer_.Commit(static_cast<unsigned>(size));
    return true;
}

bool Base64BodyDecoder::DecodePending() noexcept {
    const uint64_t room = uint64_t{pending_.GetLength()} * 6 / 8;
    auto size = static_cast<unsigned>(room);
    char* bytes = bytes_.Renew(size);
    if (bytes == nullptr && size != 0) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorNotEnoughMemory);
        error_ = Messages::WriteFailed();
        return false;
    }
    if (!KivGuiBase::B64Str2Binary(pending_, bytes, size, "\r\n")) {
        error_ = Messages::UnexpectedData("base64", pending_);
        return false;
    }
    pending_.Trunc(0);
    return bytes_.Resize(size) && WriteBlob(writer_, bytes_, error_);
}

bool QuotedPrintableBodyDecoder::DecodeLine(std::string_view line) noexcept {
    constexpr unsigned kLineEnd = 2;
    if (line.size() > AnsiStr::kMaxLength) {
        error_ = Messages::kLineTooLong;
        return false;
    }
    const AnsiSubStr view(line.data(), static_cast<unsigned>(line.size()));
    if (line.size() > FileAccess::kMaxRoom - kLineEnd) {
        if (Encoding::QPDecodeLine(view, bytes_)) return WriteBlob(writer_, bytes_, error_);
        error_ = Messages::UnexpectedData("quoted-printable", line);
        return false;
    }
    char* room = writer_.GetWriteRoom(view.GetLength() + kLineEnd);
    if (room == nullptr) {
        error_ = Messages::WriteFailed();
        return false;
    }
    writer_.Commit(static_cast<unsigned>(QuotedPrintable::DecodeLine(line, room)));
    return true;
}

}  // namespace MIME
