#include "mime/writing/body_encoder.h"

#include <algorithm>
#include <utility>

#include "kivgui/kernels/base64_kernel.h"
#include "mime/writing/body_survey.h"
#include "mime/writing/pieces.h"
#include "mime/writing/quoted_lines.h"
#include "mime/writing/write_failure.h"

// A body is read twice: once to choose its encoding, once to write it. In both passes the text comes in
// pieces, is seen through a PieceJoiner, and the encoded one leaves through a PieceBuffer; so memory is
// fixed.

namespace MIME {

namespace {

constexpr uint64_t kMaxMailLine = 998;  // RFC 5322, 2.1.1, without CR LF
constexpr uint64_t kBase64Line = 76;    // RFC 2045, 6.8
constexpr size_t kBase64LineBytes = kBase64Line / 4 * 3;

/// Feeds a whole body to a step of PieceJoiner.
template <class Step>
void ReadInto(const BodySource& body, size_t lookAhead, Step step) {
    PieceJoiner joiner(lookAhead, std::move(step));
    body.Read([&](std::string_view piece) { joiner.Add(piece); });
    joiner.End();
}

uint64_t MeasureBase64(uint64_t size) noexcept {
    const uint64_t text = (size + 2) / 3 * 4;
    const uint64_t lineEnds = text == 0 ? 0 : (text - 1) / kBase64Line;
    return text + 2 * lineEnds;
}

bool IsSafeAsItIs(const BodyTraits& traits) noexcept {
    return !traits.hasNul && !traits.hasControls && !traits.hasBareLineEnds &&
           !traits.hasBlanksAtLineEnds && !traits.hasExposedStarts && !traits.hasBoundaryLines &&
           traits.longestLine <= kMaxMailLine;
}

TransferEncoding::keys ChooseForText(const BodyTraits& traits, bool isAscii) noexcept {
    if (isAscii && IsSafeAsItIs(traits)) return TransferEncoding::bit7;
    return traits.quotedSize <= MeasureBase64(traits.size) ? TransferEncoding::quoted_printable
                                                           : TransferEncoding::base64;
}

/// What keeps a body from being sent as it is; empty when nothing does.
std::string_view FindFault(const BodyTraits& traits) noexcept {
    if (traits.hasNul) return "has a NUL";
    if (traits.hasBareLineEnds) return "has a CR or LF that is not part of a CR LF";
    if (traits.longestLine > kMaxMailLine) return "has a line of more than 998 bytes";
    if (traits.hasBoundaryLines) return "has a line that is a boundary of the message around it";
    return {};
}

TransferEncoding::keys ChooseForVerbatim(const BodyTraits& traits, BodyForm form, bool isAscii) {
    const std::string_view fault = FindFault(traits);
    if (!fault.empty()) {
        Fail(ErrorCode::cannotEncode,
             std::string(fault) + (form == BodyForm::encoded
                                       ? ", and is to be written as it is"
                                       : ", and a message or multipart may not be encoded"));
    }
    return isAscii ? TransferEncoding::bit7 : TransferEncoding::bit8;
}

BodyPlan PlanBytes(const BodySource& body) {
    uint64_t size = 0;
    CharacterSurvey characters;
    ReadInto(body, CharacterSurvey::kLookAhead, [&](std::string_view text, bool isLast) {
        const size_t kept = isLast ? 0 : std::min(text.size(), CharacterSurvey::kLookAhead);
        const size_t taken = text.size() - kept;
        characters.Take(text, taken);
        size += taken;
        return taken;
    });
    return {.encoding = size == 0 ? TransferEncoding::bit7 : TransferEncoding::base64,
            .size = size,
            .isAscii = characters.IsAscii(),
            .isUtf8 = characters.IsUtf8()};
}

BodyPlan PlanLines(const BodySource& body, BodyForm form, std::span<const std::string> boundaries) {
    BodySurvey survey(boundaries);
    ReadInto(body, survey.GetLookAhead(),
             [&](std::string_view text, bool isLast) { return survey.Take(text, isLast); });
    const BodyTraits& traits = survey.GetTraits();
    const bool isAscii = survey.GetCharacters().IsAscii();
    const TransferEncoding::keys encoding = form == BodyForm::text
                                                ? ChooseForText(traits, isAscii)
                                                : ChooseForVerbatim(traits, form, isAscii);
    return {.encoding = encoding,
            .size = traits.size,
            .isAscii = isAscii,
            .isUtf8 = survey.GetCharacters().IsUtf8(),
            .protectsDashes =
                encoding == TransferEncoding::quoted_printable && traits.hasQuotedBoundaryLines};
}

void EncodeBase64(const BodySource& body, std::string_view lineEnd, const Take& take) {
    constexpr size_t kLines = 400;
    const size_t room = kLines * (kBase64Line + lineEnd.size());
    PieceBuffer out(take);
    bool isFirst = true;
    const auto encode = [&](std::string_view text, bool isLast) {
        const size_t end = isLast ? text.size() : text.size() - text.size() % kBase64LineBytes;
        for (size_t taken = 0; taken < end;) {
            const std::string_view piece =
                text.substr(taken, std::min(end - taken, kLines * kBase64LineBytes));
            if (!isFirst) out.Put(lineEnd);
            isFirst = false;
            char* const begin = out.GetRoom(room);
            const char* const stop = KivGuiBase::Base64::EncodeLines(piece.data(), piece.size(),
                                                                     kBase64Line, lineEnd, begin);
            out.Commit(static_cast<size_t>(stop - begin));
            taken += piece.size();
        }
        return end;
    };
    ReadInto(body, kBase64LineBytes - 1, encode);
    out.Flush();
}

void EncodeQuoted(const BodySource& body, const BodyPlan& plan, std::string_view lineEnd,
                  const Take& take) {
    PieceBuffer out(take);
    QuotedLines lines(lineEnd, plan.protectsDashes);
    const auto encode = [&](std::string_view text, bool isLast) {
        const char* next = text.data();
        const char* const end = next + text.size();
        const size_t kept = isLast ? 0 : QuotedPrintable::kLookAhead;
        while (static_cast<size_t>(end - next) > kept) {
            char* const room = out.GetRoom(QuotedPrintable::kLinesRoom);
            out.Commit(lines.Encode(next, end, isLast, room));
        }
        return static_cast<size_t>(next - text.data());
    };
    ReadInto(body, QuotedPrintable::kLookAhead, encode);
    out.Flush();
}

/// For texts in which every CR and LF is part of a CR LF.
void ReplaceLineEnds(const BodySource& body, std::string_view lineEnd, const Take& take) {
    PieceBuffer out(take);
    body.Read([&](std::string_view piece) {
        while (!piece.empty()) {
            if (piece.front() == '\n') piece.remove_prefix(1);
            const std::string_view line = piece.substr(0, piece.find('\r'));
            out.Put(line);
            piece.remove_prefix(line.size());
            if (piece.empty()) return;
            out.Put(lineEnd);
            piece.remove_prefix(1);
        }
    });
    out.Flush();
}

}  // namespace

BodyPlan PlanBody(const BodySource& body, BodyForm form, std::span<const std::string> boundaries) {
    return form == BodyForm::bytes ? PlanBytes(body) : PlanLines(body, form, boundaries);
}

void EncodeBody(const BodySource& body, const BodyPlan& plan, std::string_view lineEnd,
                const Take& take) {
    if (plan.encoding == TransferEncoding::base64) {
        EncodeBase64(body, lineEnd, take);
    } else if (plan.encoding == TransferEncoding::quoted_printable) {
        EncodeQuoted(body, plan, lineEnd, take);
    } else if (lineEnd == "\r\n" || plan.encoding == TransferEncoding::binary) {
        body.Read(take);
    } else {
        ReplaceLineEnds(body, lineEnd, take);
    }
}

}  // namespace MIME
