#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include "kivgui/charset.h"
#include "kivgui/text_builder.h"
#include "mime/encoding/lenient_decoder.h"
#include "mime/foundation/guarded.h"
#include "mime/mime.h"

// The decoders of whole bodies: the piecewise decoders of lenient_decoder.h, fed with pieces of 16 KiB
// that stay in the processor's nearest cache. A piece ends after a line, or at least not inside a run
// of " ", tab and "=", because a decoder must see such a run at once to know what it belongs to.

namespace MIME {

using KivGuiBase::TextBuilder;

namespace {

constexpr size_t kPiece = 0x4000;

/// What may be part of a line end, in any number: the decoder must see all of such a run at once.
constexpr std::string_view kRunBytes = " \t=";

/// Length of the first piece of a text: whole lines, or what does not end inside a run. Longer than
/// kPiece only where a run is.
size_t MeasurePiece(std::string_view text) noexcept {
    if (text.size() <= kPiece) return text.size();
    const std::string_view start = text.substr(0, kPiece);
    const size_t lineEnd = start.rfind('\n');
    if (lineEnd != std::string_view::npos) return lineEnd + 1;
    const size_t last = start.find_last_not_of(kRunBytes);
    if (last != std::string_view::npos) return last + 1;
    return std::min(text.find_first_not_of(kRunBytes, kPiece), text.size() - 1) + 1;
}

/// Decodes a whole text by pieces that stay in the processor's nearest memory.
template <class Decoder>
bool DecodeAll(Decoder& decoder, std::string_view text, size_t expected, AnsiStr& body) noexcept {
    TextBuilder bytes(static_cast<unsigned>(expected));
    char nearRoom[kPiece + kLenientRoom];
    size_t total = 0;
    for (bool isLast = false; !isLast;) {
        const std::string_view piece = text.substr(0, MeasurePiece(text));
        text.remove_prefix(piece.size());
        std::unique_ptr<char[]> farRoom;
        if (piece.size() > kPiece) {
            farRoom.reset(new (std::nothrow) char[piece.size() + kLenientRoom]);
            if (farRoom == nullptr) {
                KivGuiBase::NoteMissingMemory();
                return false;
            }
        }
        char* const out = farRoom != nullptr ? farRoom.get() : nearRoom;
        isLast = text.empty();
        const size_t written = isLast ? decoder.DecodeLast(piece, out) : decoder.Decode(piece, out);
        bytes.Append(std::string_view(out, written));
        total += written;
    }
    body = bytes.Finish();
    return body.GetLength() == total;
}

void Report(const Tally& tally, unsigned long long& count, unsigned long long& first) noexcept {
    count = tally.count;
    first = tally.first;
}

}  // namespace

Decoding::BodyResult Decoding::QuotedPrintable(const char* text, unsigned size) noexcept {
    return Guarded(BodyResult(), [=] {
        LenientQuotedPrintable decoder;
        BodyResult result;
        result.complete = DecodeAll(decoder, {text, size}, size, result.body);
        Report(decoder.GetMalformed(), result.malformed, result.firstMalformed);
        Report(decoder.GetBlanks(), result.blanks, result.firstBlank);
        return result;
    });
}

Decoding::BodyResult Decoding::Base64(const char* text, unsigned size) noexcept {
    return Guarded(BodyResult(), [=] {
        LenientBase64 decoder;
        BodyResult result;
        const size_t expected = (size_t{size} + 3) / 4 * 3;
        result.complete = DecodeAll(decoder, {text, size}, expected, result.body);
        Report(decoder.GetRubbish(), result.malformed, result.firstMalformed);
        Report(decoder.GetBlanks(), result.blanks, result.firstBlank);
        Report(decoder.GetMissingPadding(), result.missingPadding, result.firstMissingPadding);
        Report(decoder.GetAfterPadding(), result.afterPadding, result.firstAfterPadding);
        return result;
    });
}

Decoding::TextResult Decoding::ToUtf8(const char* body, unsigned size,
                                      const AnsiStr& charset) noexcept {
    return Guarded(TextResult{AnsiStr(), true, 0}, [&] {
        KivGuiBase::CharsetResult converted = KivGuiBase::ConvertToUtf8({body, size}, charset);
        return TextResult{std::move(converted.text), converted.known, converted.replaced};
    });
}

}  // namespace MIME
