// The decoders of bodies, and the one loop that feeds them.
//
// The loop alternates between a codec's own fast path (TakePlain: usual text, which is decoded without
// looking for a delimiter first) and pieces that the delimiters measure. What is malformed fails by the
// exact rules, and is passed over and reported by the mail rules.
//
// Exact base64 departs from RFC 2045, 6.8:
//  1. Lines are joined until their length is a multiple of 4, then decoded as a whole, so that a line may
//     end inside a group; the memory needed is that of the longest run of such lines.
//  2. A character outside the alphabet is an error, not passed over.
// Exact quoted-printable departs from RFC 2045, 6.7:
//  1. What is no escape is copied as it is; white space at the end of a line is kept.
//  2. The line end before the delimiter belongs to the body.
// The mail rules' departures are listed where their decoders are (encoding/lenient_decoder.h).

#include "mime/parser/body_codecs.h"

#include "kivgui/convert.h"
#include "kivgui/kernels/base64_kernel.h"
#include "mime/encoding/lenient_decoder.h"
#include "mime/encoding/quoted_printable.h"
#include "mime/parser/report.h"

namespace MIME {

char* BodyOutput::GetFreshRoom(size_t size) noexcept {
    constexpr size_t kUsualRoom = 0x4000;
    Flush();
    const size_t wanted = size > kUsualRoom ? size : kUsualRoom;
    room_ = MakeRoom(static_cast<unsigned>(wanted));
    size_ = room_ != nullptr ? wanted : 0;
    return room_;
}

namespace {

/// 7bit, 8bit and binary: the body as it is.
class Identity final : public BodyCodec {
public:
    Identity(BodyOutput& output, Reading& /*reading*/) noexcept : output_(output) {}

    bool Take(std::string_view piece) override { return output_.Write(piece) || output_.Fail(); }
    bool TakeLast(std::string_view piece) override { return Take(piece); }

private:
    BodyOutput& output_;
};
using ExactIdentity = Identity;
using MailIdentity = Identity;

// ------------------------------------------------------------------------------- exact rules --

class ExactBase64 final : public BodyCodec {
public:
    ExactBase64(BodyOutput& output, Reading& reading) noexcept
        : output_(output), reading_(reading) {}

    bool TakePlain(Cursor& cursor) noexcept override;
    bool Take(std::string_view line) override;
    bool TakeLast(std::string_view /*line*/) override {
        return pending_.IsEmpty() || DecodePending();
    }

private:
    bool DecodePending() noexcept;

    BodyOutput& output_;
    Reading& reading_;
    AnsiStr pending_;  ///< joined lines whose last group is not full yet
    Blob bytes_;
};

/// Decodes lines of whole groups, all alphabet, for as long as they come.
bool ExactBase64::TakePlain(Cursor& cursor) noexcept {
    constexpr size_t kLongestLine = 0x4000;  // longer ones are decoded by Take
    if (!pending_.IsEmpty()) return true;
    for (;;) {
        const std::string_view text = cursor.GetRest().substr(0, kLongestLine);
        char* room = output_.GetRoom(kLongestLine / 4 * 3);
        if (room == nullptr) return output_.Fail();
        auto* out = reinterpret_cast<unsigned char*>(room);
        const size_t length =
            KivGuiBase::Base64::DecodeGroups(text.data(), text.size() / 4 * 4, out);
        if (length == 0 || !cursor.GetRest().substr(length).starts_with("\r\n")) return true;
        output_.Commit(length / 4 * 3);
        cursor.Skip(length + 2);
        // The lines of a body have one length.
        const std::string_view next = cursor.GetRest().substr(0, kLongestLine);
        room = output_.GetRoom(kLongestLine / 4 * 3);
        if (room == nullptr) return output_.Fail();
        out = reinterpret_cast<unsigned char*>(room);
        const size_t lines =
            KivGuiBase::Base64::DecodeLines(next.data(), next.size(), length, "\r\n", out);
        output_.Commit(lines * (length / 4 * 3));
        cursor.Skip(lines * (length + 2));
    }
}

bool ExactBase64::Take(std::string_view line) {
    if (line.size() > AnsiStr::kMaxLength - pending_.GetLength()) {
        return reading_.Fail(Messages::kLineTooLong);
    }
    pending_.Append(line, KivGuiBase::Growth::spare);
    return pending_.IsEmpty() || pending_.GetLength() % 4 != 0 || DecodePending();
}

bool ExactBase64::DecodePending() noexcept {
    auto size = static_cast<unsigned>(uint64_t{pending_.GetLength()} * 6 / 8);
    char* bytes = bytes_.Renew(size);
    if (bytes == nullptr) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorNotEnoughMemory);
        return output_.Fail();
    }
    if (!KivGuiBase::B64Str2Binary(pending_, bytes, size, "\r\n")) {
        return reading_.Fail(Messages::UnexpectedData("base64", pending_));
    }
    pending_.Trunc(0);
    return output_.Write({bytes, size}) || output_.Fail();
}

class ExactQuotedPrintable final : public BodyCodec {
public:
    ExactQuotedPrintable(BodyOutput& output, Reading& reading) noexcept
        : output_(output), reading_(reading) {}

    bool TakePlain(Cursor& cursor) noexcept override;
    bool Take(std::string_view line) override;
    bool TakeLast(std::string_view /*line*/) override { return true; }

private:
    bool TakeLongLine(std::string_view line);

    BodyOutput& output_;
    Reading& reading_;
};

/// Decodes lines in one pass over text and line ends, up to one that may be a boundary line.
bool ExactQuotedPrintable::TakePlain(Cursor& cursor) noexcept {
    constexpr size_t kPass = 0x4000;
    for (;;) {
        char* room = output_.GetRoom(kPass);
        if (room == nullptr) return output_.Fail();
        const QuotedPrintable::Progress done =
            QuotedPrintable::DecodePlainLines(cursor.GetRest().substr(0, kPass), room);
        if (done.taken == 0) return true;
        output_.Commit(done.written);
        cursor.Skip(done.taken);
    }
}

bool ExactQuotedPrintable::Take(std::string_view line) {
    constexpr size_t kLineEnd = 2;
    if (line.size() > BodyOutput::kMaxRoom - kLineEnd) return TakeLongLine(line);
    char* room = output_.GetRoom(line.size() + kLineEnd);
    if (room == nullptr) return output_.Fail();
    output_.Commit(QuotedPrintable::DecodeLine(line, room));
    return true;
}

bool ExactQuotedPrintable::TakeLongLine(std::string_view line) {
    if (line.size() > AnsiStr::kMaxLength) return reading_.Fail(Messages::kLineTooLong);
    Blob bytes;
    if (!Encoding::QPDecodeLine({line.data(), static_cast<unsigned>(line.size())}, bytes)) {
        return reading_.Fail(Messages::UnexpectedData("quoted-printable", line));
    }
    return output_.Write({bytes.GetData(), bytes.GetSize()}) || output_.Fail();
}

// -------------------------------------------------------------------------------- mail rules --

/// Decodes a body, whatever it holds.
template <class Decoder>
class MailCodec final : public BodyCodec {
public:
    MailCodec(BodyOutput& output, Reading& reading) noexcept
        : output_(output), reading_(reading), begin_(reading.cursor.GetNext()) {}

    /// No base64 has a "-" in it.
    bool TakePlain(Cursor& cursor) noexcept override {
        if constexpr (requires(size_t taken) { decoder_.DecodePlain({}, nullptr, taken); }) {
            constexpr size_t kPass = 0x8000;
            for (size_t taken = 1; taken != 0 && cursor.GetLeft() != 0; cursor.Skip(taken)) {
                reading_.passed.Pass(cursor.GetNext());
                const std::string_view text = cursor.GetRest().substr(0, kPass);
                char* room = output_.GetRoom(text.size());
                if (room == nullptr) return output_.Fail();
                output_.Commit(decoder_.DecodePlain(text, room, taken));
            }
        }
        return true;
    }

    bool Take(std::string_view piece) override {
        char* room = output_.GetRoom(piece.size() + kLenientRoom);
        if (room == nullptr) return output_.Fail();
        output_.Commit(decoder_.Decode(piece, room));
        return true;
    }

    bool TakeLast(std::string_view piece) override {
        char* room = output_.GetRoom(piece.size() + kLenientRoom);
        if (room == nullptr) return output_.Fail();
        output_.Commit(decoder_.DecodeLast(piece, room));
        Note();
        return true;
    }

private:
    void Note();
    void Note(Deviation::keys kind, const Tally& tally) {
        if (tally.count != 0) reading_.Note(kind, begin_ + tally.first);
    }

    BodyOutput& output_;
    Reading& reading_;
    const char* begin_;  ///< of the encoded body
    Decoder decoder_;
};

using MailBase64 = MailCodec<LenientBase64>;
using MailQuotedPrintable = MailCodec<LenientQuotedPrintable>;

template <>
void MailBase64::Note() {
    Note(Deviation::base64Rubbish, decoder_.GetRubbish());
    Note(Deviation::base64Padding, decoder_.GetMissingPadding());
    Note(Deviation::base64AfterPadding, decoder_.GetAfterPadding());
}

template <>
void MailQuotedPrintable::Note() {
    Note(Deviation::quotedPrintableEscape, decoder_.GetMalformed());
}

}  // namespace

std::unique_ptr<BodyCodec> MakeBodyCodec(TransferEncoding::keys encoding, BodyOutput& output,
                                         Reading& reading) {
    switch (encoding) {
#define MIME_TRANSFER_ENCODING(key, text, isIdentity, codec)                         \
    case TransferEncoding::key:                                                      \
        if (reading.IsMail()) return std::make_unique<Mail##codec>(output, reading); \
        return std::make_unique<Exact##codec>(output, reading);
#include "mime/encoding/transfer_encodings.inc"
    }
    reading.Fail(Messages::UnsupportedTransferEncoding(TransferEncoding::GetStr(encoding)));
    return nullptr;
}

bool TakeBody(BodyCodec& codec, Delimiters& delimiters, Reading& reading) {
    for (;;) {
        if (!codec.TakePlain(reading.cursor)) return false;
        BodyPiece piece;
        if (!delimiters.NextPiece(piece)) return false;
        if (!(piece.isLast ? codec.TakeLast(piece.text) : codec.Take(piece.text))) return false;
        reading.cursor.Skip(piece.extent);
        reading.passed.Pass(reading.cursor.GetNext());
        if (piece.isLast) return true;
    }
}

}  // namespace MIME
