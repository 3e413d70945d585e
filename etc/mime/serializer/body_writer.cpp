#include "mime/serializer/body_writer.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "kivgui/kernels/base64_kernel.h"
#include "kivgui/utf8.h"
#include "mime/encoding/body_encoding.h"
#include "mime/encoding/quoted_printable.h"

// Writes the body of one entity. Every codec has a writer that takes the body in pieces and encodes
// them straight into the room of the output, without a copy on the way. A writer may leave bytes at
// the end of a piece that it cannot encode before it knows what follows; a disk file is therefore read
// after the bytes that were kept. Memory is fixed, whatever the body's size.

namespace MIME {

namespace {

/// Where a body comes from: `Data::content` or `Data::file`.
enum class Source { content, file };

// A writer takes a body in pieces and writes it encoded. `endsLine` is told, when all is written,
// whether the boundary line may follow at once; see WriteBody.

/// Base64 in lines of 76 characters. The last line of a file gets a CR LF of its own.
class Base64Writer {
public:
    Base64Writer(FileAccess& out, Source source, bool& /*endsLine*/) noexcept
        : out_(out), endsLastLine_(source == Source::file) {}

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

/// Quoted-printable, the same text as one call for the whole body gives. A boundary line may follow
/// the text of a file at once if it is empty or ends with a line end; text from memory may not.
class QuotedPrintableWriter {
public:
    QuotedPrintableWriter(FileAccess& out, Source source, bool& endsLine) noexcept
        : out_(out), isFile_(source == Source::file), endsLine_(endsLine) {
        endsLine_ = isFile_;
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
            char* room = out_.GetWriteRoom(QuotedPrintable::kLinesRoom);
            if (room == nullptr) return false;
            const size_t used = QuotedPrintable::EncodeLines(next, end, isLast, room);
            endsLine_ = isFile_ && std::string_view(room, used).ends_with("\r\n");
            out_.Commit(static_cast<unsigned>(used));
        }
        return true;
    }

private:
    static size_t GetLeft(const char* next, const char* end) noexcept {
        return static_cast<size_t>(end - next);
    }

    FileAccess& out_;
    bool isFile_;
    bool& endsLine_;
    bool begun_ = false;
};

/// The body as it is.
class IdentityWriter {
public:
    IdentityWriter(FileAccess& out, Source /*source*/, bool& /*endsLine*/) noexcept : out_(out) {}

    FileAccess& GetOutput() const noexcept { return out_; }

    bool Write(const char*& next, const char* end, bool /*isLast*/) noexcept {
        const char* const begin = std::exchange(next, end);
        return out_.Write(begin, static_cast<size_t>(end - begin));
    }

private:
    FileAccess& out_;
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
    unsigned kept = 0;  // bytes of the last read that cannot be encoded yet
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

/// The same without a copy on the way: a disk file is read into the room of the output.
bool EncodeFile(FileAccess& in, IdentityWriter writer) noexcept {
    FileAccess& out = writer.GetOutput();
    if (in.IsMemoryView()) return out.Write(in.GetView().data(), in.GetView().size());
    for (unsigned got = 1; got != 0;) {
        char* room = out.GetWriteRoom(kReadSize);
        if (room == nullptr || !in.Read(room, kReadSize, got)) return false;
        out.Commit(got);
    }
    return true;
}

template <class Writer>
bool WriteWith(const Part& part, FileAccess& out, bool& endsLine) noexcept {
    const AnsiStr& content = part.data.content;
    if (!content.IsEmpty()) {
        const char* next = content.GetStr();
        return Writer(out, Source::content, endsLine).Write(next, next + content.GetLength(), true);
    }
    if (part.data.file.IsEmpty()) return true;
    FileAccess in(part.data.file);
    return in.OpenForReading() && EncodeFile(in, Writer(out, Source::file, endsLine));
}

/// Without a known transfer encoding only an empty body can be written.
bool IsEmptyBody(const Data& data) noexcept {
    if (!data.content.IsEmpty()) return false;
    if (data.file.IsEmpty()) return true;
    FileAccess in(data.file);
    return in.OpenForReading() && in.IsMemoryView() && in.GetView().empty();
}

}  // namespace

bool WriteBody(const Part& part, FileAccess& out, bool& endsLine) noexcept {
    endsLine = false;
    if (part.data.encoded) return WriteWith<IdentityWriter>(part, out, endsLine);
    switch (part.info.transferEncoding) {
#define MIME_TRANSFER_ENCODING(key, text, isIdentity, codec) \
    case TransferEncoding::key:                              \
        return WriteWith<codec##Writer>(part, out, endsLine);
#include "mime/encoding/transfer_encodings.inc"
    }
    return IsEmptyBody(part.data);
}

}  // namespace MIME
