#include "mime/parser/body_reader.h"

#include <algorithm>

#include "mime/encoding/body_encoding.h"
#include "mime/parser/body_decoder.h"
#include "mime/parser/body_name.h"
#include "mime/parser/messages.h"

namespace MIME {

using KivGuiBase::Str2Hyper;
using KivGuiBase::Str2UHyper;

namespace {

constexpr unsigned kMaxDigits = 20;

bool FailWrite(AnsiStr& error) noexcept {
    error = Messages::WriteFailed();
    return false;
}

bool WriteAndSkip(FileAccess& writer, Cursor& cursor, uint64_t size, AnsiStr& error) noexcept {
    if (!writer.Write(cursor.GetNext(), size)) return FailWrite(error);
    cursor.Skip(size);
    return true;
}

/// The value of Content-Length, which is added, empty, when it is missing.
AnsiStr GetContentLength(HeaderMap& headers) noexcept {
    const HeaderMap::Node* field = headers.FindOrInsert("Content-Length");
    return field != nullptr ? field->value.value : AnsiStr();
}

int64_t GuessSize(const AnsiStr& contentLength, const Cursor& cursor) noexcept {
    auto size = static_cast<int64_t>(std::min<uint64_t>(cursor.GetLeft(), INT64_MAX));
    Str2Hyper(contentLength.GetStr(), nullptr, &size, false, kMaxDigits);
    return size;
}

bool CopyCountedBody(FileAccess& writer, Cursor& cursor, const AnsiStr& contentLength,
                     AnsiStr& error) noexcept {
    uint64_t length = 0;
    if (Str2UHyper(contentLength.GetStr(), nullptr, &length, false, kMaxDigits) != 0) {
        error = Messages::InvalidContentLength(contentLength);
        return false;
    }
    if (length > cursor.GetLeft()) {
        error = Messages::ContentLengthExceedsData(length, cursor.GetLeft());
        return false;
    }
    return WriteAndSkip(writer, cursor, length, error);
}

/// Bytes that are searched and written at once while they are in the cache: a whole number of
/// spans, because a body without a delimiter keeps what its whole spans held.
class CopyPass {
public:
    explicit CopyPass(const Delimiter& delimiter) noexcept
        : span_(std::max<uint64_t>(kShortestSpan, delimiter.GetLength())),
          size_((kPassSize + span_ - 1) / span_ * span_) {}

    uint64_t GetSize() const noexcept { return size_; }

    /// Of `left` bytes in which there is no delimiter, those that belong to whole spans. A span
    /// counts while a delimiter would still fit behind it.
    uint64_t GetWholeSpans(uint64_t left, const Delimiter& delimiter) const noexcept {
        return left < delimiter.GetLength() ? 0 : (left - delimiter.GetLength()) / span_ * span_;
    }

private:
    static constexpr uint64_t kShortestSpan = 5000;
    static constexpr uint64_t kPassSize = 0x80000;

    uint64_t span_;
    uint64_t size_;
};

constexpr std::string_view kLineEnd = "\r\n";

}  // namespace

bool ReadBody(Part& part, Cursor& cursor, Delimiter& delimiter, AnsiStr& error) noexcept {
    const AnsiStr contentLength = GetContentLength(part.headers);
    part.data.file = MakeBodyFile(part.headers);
    FileAccess writer(part.data.file);
    if (!writer.OpenForWriting(GuessSize(contentLength, cursor), FileAccess::Target::newFile)) {
        return FailWrite(error);
    }
    const TransferEncoding::keys encoding = part.info.transferEncoding;
    const bool stored = IsIdentity(encoding)
                            ? CopyRawBody(writer, cursor, delimiter, contentLength, error)
                            : DecodeTextBody(writer, cursor, delimiter, encoding, error);
    if (!writer.Close() && stored) return FailWrite(error);
    return stored;
}

bool CopyRawBody(FileAccess& writer, Cursor& cursor, Delimiter& delimiter,
                 const AnsiStr& contentLength, AnsiStr& error) noexcept {
    if (!contentLength.IsEmpty()) return CopyCountedBody(writer, cursor, contentLength, error);
    const CopyPass pass(delimiter);
    // A delimiter may begin, with its CR LF, right behind the bytes of a pass.
    const uint64_t searched = pass.GetSize() + kLineEnd.size() + delimiter.GetLength();
    for (;;) {
        const std::string_view text = cursor.GetRest().substr(0, static_cast<size_t>(searched));
        size_t stop = delimiter.Find(text);
        const bool found = stop != TextFinder::kNotFound;
        if (found && text.substr(0, stop).ends_with(kLineEnd)) stop -= kLineEnd.size();
        if (found && stop <= pass.GetSize()) return WriteAndSkip(writer, cursor, stop, error);
        if (!found && text.size() < searched) {
            const uint64_t kept = pass.GetWholeSpans(cursor.GetLeft(), delimiter);
            if (WriteAndSkip(writer, cursor, kept, error)) error = Messages::kDataBoundaryMissing;
            return false;
        }
        if (!WriteAndSkip(writer, cursor, pass.GetSize(), error)) return false;
    }
}

bool DecodeTextBody(FileAccess& writer, Cursor& cursor, const Delimiter& delimiter,
                    TransferEncoding::keys encoding, AnsiStr& error) noexcept {
    switch (encoding) {
        case TransferEncoding::base64: {
            Base64BodyDecoder decoder(writer, error);
            return DecodeLines(decoder, cursor, delimiter, error);
        }
        case TransferEncoding::quoted_printable: {
            QuotedPrintableBodyDecoder decoder(writer, error);
            return DecodeLines(decoder, cursor, delimiter, error);
        }
        default:
            error = Messages::UnsupportedTransferEncoding(TransferEncoding::GetStr(encoding));
            return false;
    }
}

}  // namespace MIME
