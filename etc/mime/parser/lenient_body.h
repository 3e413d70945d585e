#pragma once

#include <string_view>

#include "mime/encoding/lenient_decoder.h"
#include "mime/parser/body_output.h"
#include "mime/parser/body_reader.h"
#include "mime/parser/messages.h"

namespace MIME {

/// Stores a body as it stands.
class RawBody {
public:
    RawBody(BodySink& sink, ReadState& /*state*/) noexcept : sink_(sink) {}

    static constexpr size_t kPiece = 0x80000;
    bool TakePlain(Cursor& /*cursor*/) noexcept { return true; }
    bool Take(std::string_view piece) noexcept {
        return sink_.Write(piece.data(), piece.size()) || sink_.Fail();
    }
    bool TakeLast(std::string_view piece, const char* /*begin*/) noexcept { return Take(piece); }

private:
    BodySink& sink_;
};

/// Decodes a body, whatever it holds.
template <class Decoder>
class LenientBody {
public:
    LenientBody(BodySink& sink, ReadState& state) noexcept
        : sink_(sink), state_(state), output_(sink) {}

    static constexpr size_t kPiece = 0x8000;
    /// Takes text that cannot hold a delimiter, as the decoding itself finds out: no base64 has
    /// a "-".
    bool TakePlain(Cursor& cursor) noexcept;
    /// @param piece  at most about kPiece bytes, of whole lines where there are any.
    bool Take(std::string_view piece) noexcept {
        return Store(piece, [this](std::string_view text, char* room) noexcept {
            return decoder_.Decode(text, room);
        });
    }
    /// @param begin  of the body's text.
    bool TakeLast(std::string_view piece, const char* begin) {
        const bool stored = Store(piece, [this](std::string_view text, char* room) noexcept {
            return decoder_.DecodeLast(text, room);
        });
        if (stored) Note(begin);
        return stored;
    }

private:
    template <class Decode>
    bool Store(std::string_view piece, Decode decode) noexcept {
        char* room = output_.GetRoom(piece.size() + kLenientRoom);
        if (room == nullptr) return sink_.Fail();
        output_.Commit(decode(piece, room));
        return true;
    }
    void Note(const char* begin);

    BodySink& sink_;
    ReadState& state_;
    BodyOutput output_;
    Decoder decoder_;
};

using LenientBase64Body = LenientBody<LenientBase64>;
using LenientQuotedPrintableBody = LenientBody<LenientQuotedPrintable>;

template <class Decoder>
bool LenientBody<Decoder>::TakePlain(Cursor& cursor) noexcept {
    if constexpr (requires(size_t taken) { decoder_.DecodePlain({}, nullptr, taken); }) {
        for (size_t taken = 1; taken != 0 && cursor.GetLeft() != 0; cursor.Skip(taken)) {
            const std::string_view text = cursor.GetRest().substr(0, kPiece);
            char* room = output_.GetRoom(text.size());
            if (room == nullptr) return sink_.Fail();
            output_.Commit(decoder_.DecodePlain(text, room, taken));
        }
    }
    return true;
}

// What each decoder tolerated goes into the report under names of its own.
template <>
void LenientBase64Body::Note(const char* begin);
template <>
void LenientQuotedPrintableBody::Note(const char* begin);

/// Gives a body the text from the cursor to its end, without the line end before that, piece by
/// piece, each of which is searched and taken while it is in the cache.
template <class Body>
bool ReadPieces(Body& body, ReadState& state, BodyEnd& end) {
    constexpr size_t kLineEnd = 2;
    Cursor& cursor = state.cursor;
    const char* const begin = cursor.GetNext();
    for (;;) {
        if (!body.TakePlain(cursor)) return false;
        const std::string_view text = cursor.GetRest();
        // The delimiter may follow a line end that begins right behind the piece.
        const std::string_view searched = text.substr(0, Body::kPiece + kLineEnd);
        const char* line = end.FindLine(begin, text.data(), searched.data() + searched.size(),
                                        text.data() + text.size());
        std::string_view piece = text.substr(0, Body::kPiece);
        if (line != nullptr) {
            piece = text.substr(0, static_cast<size_t>(line - text.data()));
            piece = TrimLineEnd(piece, state.GetLineRules());
        } else if (piece.size() < text.size()) {
            // Whole lines where there are any: decoders look at what ends a line.
            const size_t lineFeed = piece.rfind('\n');
            if (lineFeed != std::string_view::npos) piece = piece.substr(0, lineFeed + 1);
        }
        const bool isLast = line != nullptr || piece.size() == text.size();
        if (!(isLast ? body.TakeLast(piece, begin) : body.Take(piece))) return false;
        cursor.Skip(piece.size());
        if (!isLast) continue;
        return line != nullptr || end.IsOpen() || state.options.openEnd ||
               state.Fail(Messages::kDataBoundaryMissing);
    }
}

}  // namespace MIME
