#include "mime/serializer/body_writer.h"

#include <algorithm>
#include <cstring>

#include "kivgui/base64_kernel.h"
#include "kivgui/utf8.h"
#include "mime/encoding/body_encoding.h"
#include "mime/encoding/quoted_printable.h"

namespace MIME {

namespace {

/// Encodes a body as base64 lines of 76 characters.
class Base64Writer {
public:
    /// @param endsLastLine  the last line, too, gets its CR LF.
    Base64Writer(FileAccess& out, bool endsLastLine) noexcept
        : out_(out), endsLastLine_(endsLastLine) {}

    /// Takes the bytes that form whole lines; all of them when nothing follows (`isLast`).
    /// @return false when writing failed.
    bool Write(const char*& next, const char* end, bool isLast) noexcept {
        auto left = static_cast<size_t>(end - next);
        if (!isLast) left -= left % kLineBytes;
        while (left > 0) {
            const size_t piece = std::min(left, kPiece);
            char* room = out_.GetWriteRoom(kPieceRoom);
            if (room == nullptr) return false;
            char* stop = KivGuiBase::Base64::EncodeLines(next, piece, kLineLength, "\r\n", room);
            next += piece;
            left -= piece;
            if (endsLastLine_ || next != end) {
                *stop++ = '\r';
                *stop++ = '\n';
            }
            out_.Commit(static_cast<unsigned>(stop - room));
        }
        return true;
    }

private:
    static constexpr unsigned kLineLength = 76;  // RFC 2045, 6.8
    static constexpr unsigned kLineBytes = kLineLength / 4 * 3;
    static constexpr size_t kPieceLines = 400;
    static constexpr size_t kPiece = kPieceLines * kLineBytes;
    static constexpr unsigned kPieceRoom = kPieceLines * (kLineLength + 2);

    FileAccess& out_;
    bool endsLastLine_;
};

/// Encodes a body as quoted-printable, as one call for the whole would.
class QuotedPrintableWriter {
public:
    /// @param endsLine  tells, when all is written, whether the text ends with a line end, or is
    ///                  empty and so stands behind one.
    QuotedPrintableWriter(FileAccess& out, bool& endsLine) noexcept
        : out_(out), endsLine_(endsLine) {
        endsLine_ = true;
    }

    /// Takes the bytes that make the same output lines whatever follows; all of them when nothing
    /// does (`isLast`). @return false when writing failed.
    bool Write(const char*& next, const char* end, bool isLast) noexcept {
        if (!begun_) {
            next = KivGuiBase::SkipByteOrderMark({next, GetLeft(next, end)}).data();
            begun_ = true;
        }
        const size_t kept = isLast ? 0 : QuotedPrintable::kLookAhead;
        while (GetLeft(next, end) > kept) {
            char* room = out_.GetWriteRoom(kRoom);
            if (room == nullptr) return false;
            unsigned used = 0;
            while (GetLeft(next, end) > kept && used + QuotedPrintable::kLineRoom <= kRoom) {
                used += QuotedPrintable::EncodeLine(next, end, room + used);
            }
            endsLine_ = std::string_view(room, used).ends_with("\r\n");
            out_.Commit(used);
        }
        return true;
    }

private:
    static constexpr unsigned kRoom = 0x4000;

    static size_t GetLeft(const char* next, const char* end) noexcept {
        return static_cast<size_t>(end - next);
    }

    FileAccess& out_;
    bool& endsLine_;
    bool begun_ = false;
};

constexpr unsigned kReadSize = 0x10000;

/// Feeds a writer an open file: a memory view as it is, a disk file in pieces.
template <class Writer>
bool EncodeFile(FileAccess& in, Writer writer) noexcept {
    if (in.IsMemoryView()) {
        const std::string_view view = in.GetView();
        const char* next = view.data();
        return writer.Write(next, next + view.size(), true);
    }
    Blob buffer;
    char* bytes = buffer.Renew(kReadSize);
    if (bytes == nullptr) return false;
    unsigned kept = 0;  // bytes of the last read that wait for what follows them
    for (unsigned got = 1; got != 0;) {
        if (!in.Read(bytes + kept, kReadSize - kept, got)) return false;
        const char* next = bytes;
        const char* const end = bytes + kept + got;
        if (!writer.Write(next, end, got == 0)) return false;
        kept = static_cast<unsigned>(end - next);
        std::memmove(bytes, next, kept);
    }
    return true;
}

bool CopyFile(FileAccess& in, FileAccess& out) noexcept {
    if (in.IsMemoryView()) return out.Write(in.GetView().data(), in.GetView().size());
    for (unsigned got = 1; got != 0;) {
        char* room = out.GetWriteRoom(kReadSize);
        if (room == nullptr || !in.Read(room, kReadSize, got)) return false;
        out.Commit(got);
    }
    return true;
}

bool WriteFileBody(const Part& part, bool isEncoded, FileAccess& out, bool& endsLine) noexcept {
    FileAccess in(part.data.file);
    if (!in.OpenForReading()) return false;
    if (isEncoded) return CopyFile(in, out);
    switch (part.info.transferEncoding) {
        case TransferEncoding::base64:
            return EncodeFile(in, Base64Writer(out, true));
        case TransferEncoding::quoted_printable:
            return EncodeFile(in, QuotedPrintableWriter(out, endsLine));
        default:
            return in.IsMemoryView() && in.GetView().empty();
    }
}

bool WriteContent(const Part& part, bool isEncoded, FileAccess& out) noexcept {
    const AnsiStr& content = part.data.content;
    if (isEncoded) return out.Write(content);
    const char* next = content.GetStr();
    const char* const end = next + content.GetLength();
    switch (part.info.transferEncoding) {
        case TransferEncoding::base64:
            return Base64Writer(out, false).Write(next, end, true);
        case TransferEncoding::quoted_printable: {
            bool endsLine;  // does not count: the text is followed by a line end in any case
            return QuotedPrintableWriter(out, endsLine).Write(next, end, true);
        }
        default:
            return false;
    }
}

}  // namespace

bool WriteBody(const Part& part, FileAccess& out, bool& endsLine) noexcept {
    endsLine = false;
    const TransferEncoding::keys encoding = part.info.transferEncoding;
    const bool isEncoded = part.data.encoded || IsIdentity(encoding);
    if (!part.data.content.IsEmpty()) return WriteContent(part, isEncoded, out);
    return part.data.file.IsEmpty() || WriteFileBody(part, isEncoded, out, endsLine);
}

}  // namespace MIME
