#include "mime/serializer/body_writer.h"

#include <algorithm>
#include <cstring>

#include "kivgui/base64_kernel.h"
#include "mime/encoding/quoted_printable.h"

namespace MIME {

namespace {

/// Encodes bytes as base64 lines of 76 characters, given in pieces of whole lines.
class Base64Writer {
public:
    /// @param endsLastLine  the last line, too, gets its CR LF.
    Base64Writer(FileAccess& out, bool endsLastLine) noexcept
        : out_(out), endsLastLine_(endsLastLine) {}

    /// @param isLast  nothing follows these bytes; otherwise they are whole lines.
    /// @return false when writing failed.
    bool Write(const char* data, size_t size, bool isLast) noexcept {
        while (size > 0) {
            const size_t piece = std::min(size, kPiece);
            const bool endsLine = endsLastLine_ || !isLast || piece < size;
            char* room = out_.GetWriteRoom(kPieceRoom);
            if (room == nullptr) return false;
            char* end = KivGuiBase::Base64::EncodeLines(data, piece, kLineLength, "\r\n", room);
            if (endsLine) end = static_cast<char*>(std::memcpy(end, "\r\n", 2)) + 2;
            out_.Commit(static_cast<unsigned>(end - room));
            data += piece;
            size -= piece;
        }
        return true;
    }

    static constexpr unsigned kLineLength = 76;  // RFC 2045, 6.8
    static constexpr unsigned kLineBytes = kLineLength / 4 * 3;

private:
    static constexpr size_t kPieceLines = 800;
    static constexpr size_t kPiece = kPieceLines * kLineBytes;
    static constexpr unsigned kPieceRoom = kPieceLines * (kLineLength + 2);

    FileAccess& out_;
    bool endsLastLine_;
};

/// Encodes a body as quoted-printable, as one call for the whole would.
class QuotedPrintableWriter {
public:
    explicit QuotedPrintableWriter(FileAccess& out) noexcept : out_(out) {}

    /// Takes as many of the bytes as form output lines whatever follows; all of them when nothing
    /// does. @return false when writing failed.
    bool Write(const char*& next, const char* end, bool isLast) noexcept {
        if (!begun_) SkipMark(next, end);
        const size_t kept = isLast ? 0 : QuotedPrintable::kLookAhead;
        while (static_cast<size_t>(end - next) > kept) {
            char* room = out_.GetWriteRoom(kRoom);
            if (room == nullptr) return false;
            unsigned used = 0;
            while (static_cast<size_t>(end - next) > kept &&
                   used + QuotedPrintable::kLineRoom <= kRoom) {
                used += QuotedPrintable::EncodeLine(next, end, room + used);
            }
            out_.Commit(used);
        }
        return true;
    }

private:
    static constexpr unsigned kRoom = 0x8000;

    void SkipMark(const char*& next, const char* end) noexcept {
        next = QuotedPrintable::SkipByteOrderMark({next, static_cast<size_t>(end - next)}).data();
        begun_ = true;
    }

    FileAccess& out_;
    bool begun_ = false;
};

constexpr unsigned kReadSize = 0x10000;

bool CopyFile(FileAccess& in, FileAccess& out) noexcept {
    for (unsigned got = 1; got != 0;) {
        char* room = out.GetWriteRoom(kReadSize);
        if (room == nullptr || !in.Read(room, kReadSize, got)) return false;
        out.Commit(got);
    }
    return true;
}

bool EncodeFileAsBase64(FileAccess& in, FileAccess& out) noexcept {
    Base64Writer writer(out, true);
    char buffer[kReadSize / Base64Writer::kLineBytes * Base64Writer::kLineBytes];
    for (unsigned got = 1; got != 0;) {
        if (!in.Read(buffer, sizeof buffer, got) || !writer.Write(buffer, got, false)) return false;
    }
    return true;
}

bool EncodeFileAsQuotedPrintable(FileAccess& in, FileAccess& out) noexcept {
    QuotedPrintableWriter writer(out);
    char buffer[kReadSize];
    unsigned kept = 0;  // bytes of the last read that wait for what follows them
    for (unsigned got = 1; got != 0;) {
        if (!in.Read(buffer + kept, kReadSize - kept, got)) return false;
        const char* next = buffer;
        const char* const end = buffer + kept + got;
        if (!writer.Write(next, end, got == 0)) return false;
        kept = static_cast<unsigned>(end - next);
        std::memmove(buffer, next, kept);
    }
    return true;
}

/// Does a file in a transfer encoding that cannot be written hold anything?
bool IsEmptyFile(FileAccess& in) noexcept {
    char first;
    unsigned got = 0;
    return in.Read(&first, 1, got) && got == 0;
}

bool WriteFileBody(const Part& part, bool isEncoded, FileAccess& out) noexcept {
    FileAccess in(part.data.file);
    if (!in.OpenForReading()) return false;
    if (isEncoded) return CopyFile(in, out);
    switch (part.info.transferEncoding) {
        case TransferEncoding::base64: return EncodeFileAsBase64(in, out);
        case TransferEncoding::quoted_printable: return EncodeFileAsQuotedPrintable(in, out);
        default: return IsEmptyFile(in);
    }
}

bool WriteContent(const Part& part, bool isEncoded, FileAccess& out) noexcept {
    const AnsiStr& content = part.data.content;
    if (isEncoded) return out.Write(content);
    const char* next = content.GetStr();
    switch (part.info.transferEncoding) {
        case TransferEncoding::base64:
            return Base64Writer(out, false).Write(next, content.GetLength(), true);
        case TransferEncoding::quoted_printable:
            return QuotedPrintableWriter(out).Write(next, next + content.GetLength(), true);
        default: return false;
    }
}

}  // namespace

bool WriteBody(const Part& part, FileAccess& out) noexcept {
    const TransferEncoding::keys encoding = part.info.transferEncoding;
    const bool isEncoded = part.data.encoded || encoding == TransferEncoding::bit7 ||
                           encoding == TransferEncoding::bit8 ||
                           encoding == TransferEncoding::binary;
    if (!part.data.content.IsEmpty()) return WriteContent(part, isEncoded, out);
    return part.data.file.IsEmpty() || WriteFileBody(part, isEncoded, out);
}

}  // namespace MIME
