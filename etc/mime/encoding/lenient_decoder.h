#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Decoders of bodies as mail programs send them. They never fail: what is malformed is passed
/// over or kept, and counted. Text comes in pieces, which may end anywhere.
namespace MIME {

/// How often something was tolerated, and where first, as an offset in bytes from the start of all
/// pieces.
struct Tally {
    uint64_t count = 0;
    uint64_t first = 0;

    void Note(uint64_t offset) noexcept {
        if (count++ == 0) first = offset;
    }
};

/// Both decoders write at most this many bytes more than a piece has, and at most this many at the
/// end.
inline constexpr size_t kLenientRoom = 8;

/// Base64 (RFC 2045, 6.8), with these departures:
///  1. What is outside the alphabet is passed over; white space is not counted as rubbish.
///  2. A group that is cut short by the end of the text gives the bytes that it has.
///  3. After padding a new run of groups may begin. What begins with a character outside the alphabet
///     is no base64: mailing lists and scanners add lines of text there. It ends the data.
class LenientBase64 {
public:
    /// Decodes a piece. `out` has room for kLenientRoom bytes more than the piece has.
    /// @return the number of bytes written.
    size_t Decode(std::string_view piece, char* out) noexcept;
    /// Decodes the start of a piece as far as it is whole groups and line ends: the usual text,
    /// which needs no further look. `out` has as much room as the piece.
    /// @param taken  receives the bytes of the piece that were decoded.
    size_t DecodePlain(std::string_view piece, char* out, size_t& taken) noexcept;
    /// Ends the text. `out` has room for kLenientRoom bytes. @return the number written.
    size_t Finish(char* out) noexcept;
    /// Decode and Finish in one, for the last piece.
    size_t DecodeLast(std::string_view piece, char* out) noexcept {
        const size_t written = Decode(piece, out);
        return written + Finish(out + written);
    }

    const Tally& GetRubbish() const noexcept { return rubbish_; }
    const Tally& GetBlanks() const noexcept { return blanks_; }
    const Tally& GetMissingPadding() const noexcept { return missingPadding_; }
    const Tally& GetAfterPadding() const noexcept { return afterPadding_; }

    /// Characters of a group that is not full yet, 0 to 3.
    unsigned GetOpenCharacters() const noexcept { return open_; }
    /// Are there bits in the open group that no whole byte takes, and not all of them 0?
    bool HasSpareBits() const noexcept { return (bits_ & ((1u << (6 * open_ % 8)) - 1)) != 0; }

private:
    size_t Take(char c, uint64_t offset, char* out) noexcept;
    size_t TakePadding(uint64_t offset, char* out) noexcept;
    size_t CloseGroup(char* out) noexcept;

    uint64_t position_ = 0;  ///< of the next piece
    uint32_t bits_ = 0;      ///< of the open group
    unsigned open_ = 0;
    unsigned paddingDue_ = 0;  ///< "=" that the padding still lacks
    bool isPadded_ = false;    ///< nothing but padding since the last group
    bool isEnded_ = false;     ///< other text followed the padding
    Tally rubbish_;
    Tally blanks_;
    Tally missingPadding_;
    Tally afterPadding_;
};

/// Quoted-printable (RFC 2045, 6.7), with these departures:
///  1. An "=" that does not begin an escape is kept; lower-case digits are read.
///  2. LF alone also ends a line; line ends are kept as they are. CR alone is text.
///  3. Lines may have any length and hold any byte.
///
/// White space at the end of a line, and of the text, is dropped. Where the end of a piece divides
/// a run of more than 6 blanks, all but the last ones may be written already, and then stay
/// (kLenientRoom holds no more, with an "=" before them and a CR after them). Pieces that end with
/// lines, or with anything but blanks, give the same result however the text is cut.
class LenientQuotedPrintable {
public:
    /// See LenientBase64.
    size_t Decode(std::string_view piece, char* out) noexcept {
        return DecodePiece(piece, false, out);
    }
    size_t Finish(char* out) noexcept { return DecodePiece({}, true, out); }
    /// Decode and Finish in one, for the last piece.
    size_t DecodeLast(std::string_view piece, char* out) noexcept {
        return DecodePiece(piece, true, out);
    }

    const Tally& GetMalformed() const noexcept { return malformed_; }
    /// Lines that ended in white space, soft line breaks among them.
    const Tally& GetBlanks() const noexcept { return blanks_; }

private:
    struct Run;
    size_t DecodePiece(std::string_view piece, bool isLast, char* out) noexcept;
    size_t DecodeHeld(std::string_view& piece, bool isLast, char* out) noexcept;
    size_t DecodeRun(std::string_view& text, bool isLast, char* out) noexcept;
    static void TakeCleanText(Run& run) noexcept;
    bool TakeEscape(Run& run) noexcept;
    bool TakeLineEnd(Run& run) noexcept;
    void DropBlanks(Run& run) noexcept;
    void Hold(std::string_view rest) noexcept;

    uint64_t position_ = 0;    ///< of the next undecoded byte
    char held_[kLenientRoom];  ///< the end of the last piece, when what follows decides its meaning
    size_t heldSize_ = 0;
    Tally malformed_;
    Tally blanks_;
};

}  // namespace MIME
