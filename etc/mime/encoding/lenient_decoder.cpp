#include "mime/encoding/lenient_decoder.h"

#include <algorithm>
#include <cstring>

#include "kivgui/ascii.h"
#include "kivgui/hex.h"
#include "kivgui/kernels/base64_kernel.h"
#include "kivgui/kernels/quoted_printable_kernel.h"
#include "mime/foundation/char_class.h"

// Both decoders run well-formed text through a kernel and look closer only where it stops. What the end of a
// piece leaves undecided is kept: base64 keeps the bits of an open group, quoted-printable the few bytes that
// may be part of an escape, a line end, or white space that is dropped before one. Output never grows beyond
// the input by more than kLenientRoom, so a vector may be stored before it is known how much of it counts.

namespace MIME {

using KivGuiBase::GetHexValue;
using KivGuiBase::IsBlankAscii;
using KivGuiBase::kHexEscapeLength;
using KivGuiBase::kNoHexDigit;

namespace {

/// What quoted-printable does not always keep.
constexpr ByteSet kStopBytes = ByteSet().WithAll("=\r\n");

constexpr bool IsHexDigit(char c) noexcept {
    return GetHexValue(c) != kNoHexDigit;
}

}  // namespace

// --------------------------------------------------------------------------------- base64 --

size_t LenientBase64::Decode(std::string_view piece, char* out) noexcept {
    const char* next = piece.data();
    const char* const end = next + piece.size();
    char* put = out;
    while (next != end && !isEnded_) {
        if (open_ == 0 && !isPadded_) {
            const size_t groups = static_cast<size_t>(end - next) / 4 * 4;
            const size_t taken = KivGuiBase::Base64::DecodeGroups(
                next, groups, reinterpret_cast<unsigned char*>(put));
            next += taken;
            put += taken / 4 * 3;
            if (next == end) break;
        }
        if (*next != '\r' && *next != '\n') {
            put += Take(*next, position_ + static_cast<size_t>(next - piece.data()), put);
        }
        ++next;
    }
    position_ += piece.size();
    return static_cast<size_t>(put - out);
}

size_t LenientBase64::DecodePlain(std::string_view piece, char* out, size_t& taken) noexcept {
    std::string_view rest = piece;
    auto* put = reinterpret_cast<unsigned char*>(out);
    while (open_ == 0 && !isPadded_) {
        const size_t groups =
            KivGuiBase::Base64::DecodeGroups(rest.data(), rest.size() / 4 * 4, put);
        put += groups / 4 * 3;
        rest.remove_prefix(groups);
        const std::string_view lineEnd = rest.substr(0, rest.starts_with("\r\n") ? 2
                                                        : rest.starts_with('\n') ? 1
                                                                                 : 0);
        rest.remove_prefix(lineEnd.size());
        if (groups == 0 || lineEnd.empty()) break;
        // The lines of a body have one length.
        const size_t lines =
            KivGuiBase::Base64::DecodeLines(rest.data(), rest.size(), groups, lineEnd, put);
        put += lines * (groups / 4 * 3);
        rest.remove_prefix(lines * (groups + lineEnd.size()));
    }
    taken = piece.size() - rest.size();
    position_ += taken;
    return static_cast<size_t>(put - reinterpret_cast<unsigned char*>(out));
}

size_t LenientBase64::Take(char c, uint64_t offset, char* out) noexcept {
    const unsigned value = KivGuiBase::Base64::GetValue(c);
    if (value == KivGuiBase::Base64::kNoValue) {
        if (c == '=') return TakePadding(offset, out);
        isEnded_ = isPadded_ && !IsBlankAscii(c);
        (IsBlankAscii(c) ? blanks_ : rubbish_).Note(offset);
        return 0;
    }
    if (isPadded_) {
        if (paddingDue_ != 0) missingPadding_.Note(offset);
        afterPadding_.Note(offset);
        isPadded_ = false;
        paddingDue_ = 0;
    }
    bits_ = bits_ << 6 | value;
    return ++open_ < 4 ? 0 : CloseGroup(out);
}

size_t LenientBase64::TakePadding(uint64_t offset, char* out) noexcept {
    if (isPadded_ && paddingDue_ != 0) {
        --paddingDue_;
        return 0;
    }
    if (open_ < 2) {
        rubbish_.Note(offset);
        return 0;
    }
    paddingDue_ = 3 - open_;
    isPadded_ = true;
    return CloseGroup(out);
}

/// Writes the whole bytes of the open group.
size_t LenientBase64::CloseGroup(char* out) noexcept {
    const size_t count = size_t{open_} * 6 / 8;
    const uint32_t group = bits_ << 6 * (4 - open_);
    for (size_t i = 0; i < count; ++i) out[i] = static_cast<char>(group >> (16 - 8 * i));
    open_ = 0;
    bits_ = 0;
    return count;
}

size_t LenientBase64::Finish(char* out) noexcept {
    if (open_ != 0 || paddingDue_ != 0) missingPadding_.Note(position_);
    paddingDue_ = 0;
    return open_ != 0 ? CloseGroup(out) : 0;
}

// ----------------------------------------------------------------------- quoted-printable --

/// A text while it is decoded.
struct LenientQuotedPrintable::Run {
    const char* start;
    const char* next;
    const char* end;
    char* put;
    const char* lineStart;  ///< what is written before it is no white space that may be dropped
    bool isLast;

    size_t GetLeft() const noexcept { return static_cast<size_t>(end - next); }
    /// Length of the line end at `at`; 0 when there is none.
    size_t MeasureLineEnd(const char* at) const noexcept {
        if (at == end) return 0;
        if (*at == '\n') return 1;
        return end - at > 1 && at[0] == '\r' && at[1] == '\n' ? 2 : 0;
    }
    /// Could more text make a line end of what is at `at`?
    bool MayBeLineEnd(const char* at) const noexcept {
        return at == end || (end - at == 1 && *at == '\r');
    }
};

size_t LenientQuotedPrintable::DecodePiece(std::string_view piece, bool isLast,
                                           char* out) noexcept {
    size_t written = 0;
    if (heldSize_ != 0) {
        written = DecodeHeld(piece, isLast, out);
        if (heldSize_ != 0) return written;
    }
    written += DecodeRun(piece, isLast, out + written);
    Hold(piece);
    return written;
}

/// Decodes what was held together with the start of the piece. What is left to decide then is
/// shorter than that start, or held again because the piece has no more.
size_t LenientQuotedPrintable::DecodeHeld(std::string_view& piece, bool isLast,
                                          char* out) noexcept {
    char bridge[3 * kLenientRoom];
    std::memcpy(bridge, held_, heldSize_);
    const size_t added = piece.copy(bridge + heldSize_, sizeof bridge - kLenientRoom);
    std::string_view rest(bridge, heldSize_ + added);
    const size_t written = DecodeRun(rest, isLast && added == piece.size(), out);
    if (rest.size() > added) {
        Hold(rest);
        piece = {};
    } else {
        heldSize_ = 0;
        piece.remove_prefix(added - rest.size());
    }
    return written;
}

void LenientQuotedPrintable::Hold(std::string_view rest) noexcept {
    heldSize_ = rest.copy(held_, kLenientRoom);
}

/// Decodes well-formed text up to what needs a closer look, or near the end.
void LenientQuotedPrintable::TakeCleanText(Run& run) noexcept {
    const char* const begin = run.next;
    const bool isAfterBlank = run.put != run.lineStart && IsBlankAscii(run.put[-1]);
    if (isAfterBlank && run.MeasureLineEnd(begin) != 0) return;
    const KivGuiBase::QuotedPrintable::Progress done =
        KivGuiBase::QuotedPrintable::DecodeClean({begin, run.GetLeft()}, run.put);
    run.next += done.taken;
    run.put += done.written;
    // Only blanks that are so in the text may be dropped.
    const char* kept = run.next;
    while (kept != begin && IsBlankAscii(kept[-1])) --kept;
    if (kept != begin) run.lineStart = run.put - (run.next - kept);
}

/// Decodes as much as can be decided: leaves at most kLenientRoom bytes, none of the last text.
size_t LenientQuotedPrintable::DecodeRun(std::string_view& text, bool isLast, char* out) noexcept {
    Run run{text.data(), text.data(), text.data() + text.size(), out, out, isLast};
    while (run.next != run.end) {
        TakeCleanText(run);
        if (run.next == run.end) break;
        if (*run.next == '=') {
            if (!TakeEscape(run)) break;
        } else if (*run.next == '\r' || *run.next == '\n') {
            if (!TakeLineEnd(run)) break;
        } else {  // near the end
            do {
                *run.put++ = *run.next++;
            } while (run.next != run.end && !kStopBytes.Has(*run.next));
        }
    }
    if (isLast) {
        DropBlanks(run);
    } else if (run.next == run.end || *run.next != '=') {
        // Blanks before what may be a line end wait for it, too.
        while (run.GetLeft() < kLenientRoom && run.put != run.lineStart &&
               IsBlankAscii(run.put[-1])) {
            --run.put;
            --run.next;
        }
    }
    const auto taken = static_cast<size_t>(run.next - run.start);
    position_ += taken;
    text.remove_prefix(taken);
    return static_cast<size_t>(run.put - out);
}

/// @return false when only more text can tell what the "=" is.
bool LenientQuotedPrintable::TakeEscape(Run& run) noexcept {
    const size_t left = run.GetLeft();
    if (left > 2 && IsHexDigit(run.next[1]) && IsHexDigit(run.next[2])) {
        *run.put++ = static_cast<char>(GetHexValue(run.next[1]) << 4 | GetHexValue(run.next[2]));
        run.next += kHexEscapeLength;
        run.lineStart = run.put;
        return true;
    }
    const char* const blanks = run.next + 1;
    const char* const stop = std::find_if_not(blanks, run.end, IsBlankAscii);
    const size_t lineEnd = run.MeasureLineEnd(stop);
    if (lineEnd != 0 || (run.isLast && stop == run.end)) {
        if (stop != blanks) blanks_.Note(position_ + static_cast<size_t>(blanks - run.start));
        run.next = stop + lineEnd;
        run.lineStart = run.put;
        return true;
    }
    const bool isOpen = run.MayBeLineEnd(stop) || (left == 2 && IsHexDigit(run.next[1]));
    if (isOpen && !run.isLast && left <= kLenientRoom) return false;
    malformed_.Note(position_ + static_cast<size_t>(run.next - run.start));
    *run.put++ = *run.next++;
    return true;
}

/// @return false when only more text can tell what the CR is.
bool LenientQuotedPrintable::TakeLineEnd(Run& run) noexcept {
    const size_t length = run.MeasureLineEnd(run.next);
    if (length == 0) {
        if (run.GetLeft() == 1 && !run.isLast) return false;
        *run.put++ = *run.next++;
        return true;
    }
    DropBlanks(run);
    for (size_t i = 0; i < length; ++i) *run.put++ = *run.next++;
    run.lineStart = run.put;
    return true;
}

void LenientQuotedPrintable::DropBlanks(Run& run) noexcept {
    char* kept = run.put;
    while (kept != run.lineStart && IsBlankAscii(kept[-1])) --kept;
    if (kept == run.put) return;
    blanks_.Note(position_ + static_cast<size_t>(run.next - run.start) -
                 static_cast<size_t>(run.put - kept));
    run.put = kept;
}

}  // namespace MIME
