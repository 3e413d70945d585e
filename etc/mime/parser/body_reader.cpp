#include "mime/parser/body_reader.h"

#include <algorithm>

#include "mime/encoding/body_encoding.h"
#include "mime/parser/body_decoder.h"
#include "mime/parser/body_sink.h"
#include "mime/parser/lenient_body.h"
#include "mime/parser/messages.h"

namespace MIME {

using KivGuiBase::Str2Hyper;
using KivGuiBase::Str2UHyper;

namespace {

constexpr unsigned kMaxDigits = 20;

bool WriteAndSkip(BodySink& sink, Cursor& cursor, uint64_t size) noexcept {
    if (!sink.Write(cursor.GetNext(), size)) return sink.Fail();
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

bool CopyCountedBody(BodySink& sink, ReadState& state, const AnsiStr& contentLength) noexcept {
    uint64_t length = 0;
    if (Str2UHyper(contentLength.GetStr(), nullptr, &length, false, kMaxDigits) != 0) {
        return state.Fail(Messages::InvalidContentLength(contentLength));
    }
    if (length > state.cursor.GetLeft()) {
        return state.Fail(Messages::ContentLengthExceedsData(length, state.cursor.GetLeft()));
    }
    return WriteAndSkip(sink, state.cursor, length);
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

/// Copies up to the first delimiter anywhere in the text, without the line end before it.
bool CopyToDelimiter(BodySink& sink, ReadState& state, Delimiter& delimiter) noexcept {
    constexpr size_t kLineEnd = 2;
    Cursor& cursor = state.cursor;
    const CopyPass pass(delimiter);
    // A delimiter may begin, with its line end, right behind the bytes of a pass.
    const uint64_t searched = pass.GetSize() + kLineEnd + delimiter.GetLength();
    for (;;) {
        const std::string_view text = cursor.GetRest().substr(0, static_cast<size_t>(searched));
        const size_t at = delimiter.Find(text);
        const bool found = at != TextFinder::kNotFound;
        const size_t stop =
            found ? TrimLineEnd(text.substr(0, at), state.GetLineRules()).size() : 0;
        if (found && stop <= pass.GetSize()) return WriteAndSkip(sink, cursor, stop);
        if (!found && text.size() < searched) {
            if (state.options.openEnd) return WriteAndSkip(sink, cursor, cursor.GetLeft());
            const uint64_t kept = pass.GetWholeSpans(cursor.GetLeft(), delimiter);
            return WriteAndSkip(sink, cursor, kept) && state.Fail(Messages::kDataBoundaryMissing);
        }
        if (!WriteAndSkip(sink, cursor, pass.GetSize())) return false;
    }
}

bool CopyRawBody(BodySink& sink, ReadState& state, BodyEnd& end, const AnsiStr& contentLength) {
    if (!contentLength.IsEmpty() && !state.options.ignoreContentLength) {
        return CopyCountedBody(sink, state, contentLength);
    }
    if (end.GetDelimiter() != nullptr) return CopyToDelimiter(sink, state, *end.GetDelimiter());
    RawBody decoder(sink, state);
    return ReadPieces(decoder, state, end);
}

template <class Strict, class Lenient>
bool DecodeBody(bool isLenient, BodySink& sink, ReadState& state, BodyEnd& end) {
    if (isLenient) {
        Lenient decoder(sink, state);
        return ReadPieces(decoder, state, end);
    }
    Strict decoder(sink, state);
    return DecodeLines(decoder, state, [&](const Line& line) noexcept {
        return end.IsAt(state.cursor.GetNext(), line.text);
    });
}

bool StoreBody(BodySink& sink, const Part& part, ReadState& state, BodyEnd& end,
               const AnsiStr& contentLength) {
    const TransferEncoding::keys encoding = part.info.transferEncoding;
    if (IsIdentity(encoding)) return CopyRawBody(sink, state, end, contentLength);
    switch (encoding) {
        case TransferEncoding::base64:
            return DecodeBody<Base64BodyDecoder, LenientBase64Body>(state.options.lenientBase64,
                                                                    sink, state, end);
        case TransferEncoding::quoted_printable:
            return DecodeBody<QuotedPrintableBodyDecoder, LenientQuotedPrintableBody>(
                state.options.lenientQuotedPrintable, sink, state, end);
        default:
            return state.Fail(
                Messages::UnsupportedTransferEncoding(TransferEncoding::GetStr(encoding)));
    }
}

/// Content-Length counts the body as it travels; programs that believe it read another one. The
/// last line end may be counted or not.
void NoteContentLength(ReadState& state, const AnsiStr& contentLength, const char* begin) {
    if (contentLength.IsEmpty() || !state.options.ignoreContentLength) return;
    const auto size = static_cast<uint64_t>(state.cursor.GetNext() - begin);
    uint64_t length = 0;
    const bool isNumber =
        Str2UHyper(contentLength.GetStr(), nullptr, &length, false, kMaxDigits) == 0;
    constexpr uint64_t kLineEnd = 2;
    const bool agrees = isNumber && length <= size + kLineEnd && size <= length + kLineEnd;
    if (!agrees) state.Note(Deviation::contentLengthDisagrees, begin);
}

}  // namespace

bool BodyEnd::IsAt(const char* place, std::string_view line) const noexcept {
    if (delimiter_ != nullptr) return delimiter_->IsAtStartOf(line);
    DelimiterLine found;
    return boundaries_ != nullptr && boundaries_->Match(place, found);
}

const char* BodyEnd::FindLine(const char* bodyBegin, const char* from, const char* stop,
                              const char* textEnd) {
    if (boundaries_ != nullptr) {
        DelimiterLine found;
        return boundaries_->Find(bodyBegin, from, stop, found) ? found.begin : nullptr;
    }
    if (delimiter_ == nullptr) return nullptr;
    const char* const searchEnd =
        std::min<const char*>(textEnd, stop + (delimiter_->GetLength() - 1));
    for (;; ++from) {
        const size_t at = delimiter_->Find({from, static_cast<size_t>(searchEnd - from)});
        if (at == TextFinder::kNotFound) return nullptr;
        from += at;
        if (from == bodyBegin || from[-1] == '\n') return from;
    }
}

bool ReadBody(Part& part, ReadState& state, BodyEnd end) {
    const AnsiStr contentLength = GetContentLength(part.headers);
    const char* const begin = state.cursor.GetNext();
    BodySink sink(part, state);
    if (!sink.Open(GuessSize(contentLength, state.cursor))) return sink.Fail();
    const bool stored = StoreBody(sink, part, state, end, contentLength);
    if (!sink.Close() && stored) return sink.Fail();
    if (stored) NoteContentLength(state, contentLength, begin);
    return stored;
}

bool ReadBody(Part& part, Cursor& cursor, Delimiter& delimiter, AnsiStr& error) {
    const ReadOptions none;
    ReadState state(cursor.GetNext(), cursor, error, none, nullptr);
    return ReadBody(part, state, BodyEnd(delimiter));
}

}  // namespace MIME
