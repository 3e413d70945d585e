#include <utility>

#include "mime/encoding/lenient_decoder.h"
#include "mime/foundation/text_builder.h"
#include "mime/mime.h"

namespace MIME {

namespace {

constexpr size_t kPiece = 0x4000;

/// Length of the first piece of a text: whole lines, if there is a line end in it.
size_t MeasurePiece(std::string_view text) noexcept {
    if (text.size() <= kPiece) return text.size();
    const size_t lineEnd = text.substr(0, kPiece).rfind('\n');
    return lineEnd != std::string_view::npos ? lineEnd + 1 : kPiece;
}

/// Decodes a whole text by pieces that stay in the processor's nearest memory.
template <class Decoder>
bool DecodeAll(Decoder& decoder, std::string_view text, size_t expected, AnsiStr& body) noexcept {
    TextBuilder bytes(static_cast<unsigned>(expected));
    char out[kPiece + kLenientRoom];
    size_t total = 0;
    const auto append = [&](size_t written) {
        bytes.Append(std::string_view(out, written));
        total += written;
    };
    while (text.size() > kPiece) {
        const size_t length = MeasurePiece(text);
        append(decoder.Decode(text.substr(0, length), out));
        text.remove_prefix(length);
    }
    append(decoder.DecodeLast(text, out));
    body = bytes.Finish();
    return body.GetLength() == total;
}

void Report(const Tally& tally, unsigned long long& count, unsigned long long& first) noexcept {
    count = tally.count;
    first = tally.first;
}

}  // namespace

Decoding::BodyResult Decoding::QuotedPrintable(const char* text, unsigned size) noexcept {
    LenientQuotedPrintable decoder;
    BodyResult result;
    result.complete = DecodeAll(decoder, {text, size}, size, result.body);
    Report(decoder.GetMalformed(), result.malformed, result.firstMalformed);
    Report(decoder.GetBlanks(), result.blanks, result.firstBlank);
    return result;
}

Decoding::BodyResult Decoding::Base64(const char* text, unsigned size) noexcept {
    LenientBase64 decoder;
    BodyResult result;
    const size_t expected = (size_t{size} + 3) / 4 * 3;
    result.complete = DecodeAll(decoder, {text, size}, expected, result.body);
    Report(decoder.GetRubbish(), result.malformed, result.firstMalformed);
    Report(decoder.GetBlanks(), result.blanks, result.firstBlank);
    Report(decoder.GetMissingPadding(), result.missingPadding, result.firstMissingPadding);
    Report(decoder.GetBehindPadding(), result.behindPadding, result.firstBehindPadding);
    return result;
}

Decoding::TextResult Decoding::ToUtf8(const char* body, unsigned size,
                                      const AnsiStr& charset) noexcept {
    KivGuiBase::CharsetResult converted = KivGuiBase::ConvertToUtf8({body, size}, charset);
    return {std::move(converted.text), converted.known, converted.replaced};
}

}  // namespace MIME
