#pragma once

#include <string_view>

#include "mime/mime.h"
#include "mime/parser/body_output.h"
#include "mime/parser/cursor.h"
#include "mime/parser/messages.h"

namespace MIME {

/// Decodes the lines of a base64 body (RFC 2045, 6.8) into a file.
///
/// Lines are joined until their length is a multiple of 4, then decoded as a whole; so a line may
/// end inside a group. Anything outside the alphabet fails, unlike in the RFC.
class Base64BodyDecoder {
public:
    Base64BodyDecoder(BodySink& sink, ReadState& state) noexcept
        : output_(sink), sink_(sink), state_(state) {}

    /// Decodes lines of whole groups, all alphabet, as long as they come: the usual body, whose
    /// line ends the decoding itself finds.
    bool TakePlainLines(Cursor& cursor) noexcept;
    bool DecodeLine(std::string_view line) noexcept;
    /// Decodes what is left when the body has ended.
    bool Finish() noexcept { return pending_.IsEmpty() || DecodePending(); }

private:
    bool DecodePending() noexcept;

    BodyOutput output_;
    BodySink& sink_;
    ReadState& state_;
    AnsiStr pending_;  ///< joined lines that do not fill their last group yet
    Blob bytes_;
};

/// Decodes the lines of a quoted-printable body (RFC 2045, 6.7) into a file.
class QuotedPrintableBodyDecoder {
public:
    QuotedPrintableBodyDecoder(BodySink& sink, ReadState& state) noexcept
        : output_(sink), sink_(sink), state_(state) {}

    /// Decodes lines in one pass over text and line ends, up to one that may be the delimiter.
    bool TakePlainLines(Cursor& cursor) noexcept;
    bool DecodeLine(std::string_view line) noexcept;
    bool Finish() noexcept { return true; }

private:
    BodyOutput output_;
    BodySink& sink_;
    ReadState& state_;
    Blob bytes_;
};

/// Feeds a decoder the lines from the cursor to the one where `isEnd(line)` is true, which is not
/// taken.
template <class Decoder, class IsEnd>
bool DecodeLines(Decoder& decoder, ReadState& state, IsEnd isEnd) noexcept {
    for (;;) {
        if (!decoder.TakePlainLines(state.cursor)) return false;
        const Line line = PeekLine(state.cursor, state.GetLineRules());
        if (line.kind == Line::Kind::hasNul) return state.Fail(Messages::kNulInText);
        if (isEnd(line)) return decoder.Finish();
        if (line.kind == Line::Kind::rest && line.text.empty()) {
            state.cursor.Skip(line.extent);
            if (state.options.openEnd) return decoder.Finish();
            return state.Fail(Messages::kTextBoundaryMissing);
        }
        state.cursor.Skip(line.extent);
        if (!decoder.DecodeLine(line.text)) return false;
    }
}

}  // namespace MIME
