#include "mime/writing/body_survey.h"

#include <algorithm>
#include <bit>

#include "kivgui/ascii.h"
#include "kivgui/kernels/vector16.h"
#include "kivgui/utf8.h"
#include "mime/encoding/quoted_printable.h"

// One pass, 16 bytes a step: in a step without controls, only the bytes that quoted-printable would
// encode are counted. Everything else is decided at the start and at the end of a line, which is what
// looks ahead and back. UTF-8 is checked by a second loop over text that is still in the cache.

namespace MIME {

namespace {

using KivGuiBase::CountLeading;
using KivGuiBase::IsBlankAscii;
using KivGuiBase::kAllPlaces;
using KivGuiBase::PlaceMask;
using KivGuiBase::Vector16;

constexpr std::string_view kDashes = "--";
constexpr std::string_view kFrom = "From ";
constexpr uint64_t kEscapeCost = 2;  // characters beyond the byte itself

size_t MeasureLongest(std::span<const std::string> texts) noexcept {
    size_t longest = 0;
    for (const std::string& text : texts) longest = std::max(longest, text.size());
    return longest;
}

/// "=" in quoted-printable begins an escape or a soft break, so what a boundary has from "=" on may
/// be made of other text there: "--b=20" of "--b ".
std::vector<std::string> CutAtEscapes(std::span<const std::string> boundaries) {
    std::vector<std::string> cut(boundaries.begin(), boundaries.end());
    for (std::string& boundary : cut)
        boundary.resize(std::min(boundary.find('='), boundary.size()));
    return cut;
}

/// The size of a line that would be `length` characters without soft breaks.
uint64_t AddSoftBreaks(uint64_t length) noexcept {
    constexpr uint64_t kMaxLine = QuotedPrintable::kMaxLine;
    if (length <= kMaxLine) return length;
    const uint64_t breaks = (length - kMaxLine + kMaxLine - 2) / (kMaxLine - 1);
    return length + 3 * breaks;
}

struct Step {
    PlaceMask controls;  ///< tabs apart
    PlaceMask escapes;   ///< controls apart

    explicit Step(const char* text) noexcept {
        const Vector16 bytes(text);
        const PlaceMask low = bytes.AreBetween('\0', '\x1F');
        const PlaceMask del = bytes.Are('\x7F');
        controls = (low & ~bytes.Are('\t')) | del;
        escapes = (kAllPlaces & ~(bytes.AreBetween(' ', '~') | low | del)) | bytes.Are('=');
    }
};

}  // namespace

Prefixes::Prefixes(std::vector<std::string> prefixes) : sorted_(std::move(prefixes)) {
    std::sort(sorted_.begin(), sorted_.end());
    // Of those that begin each other the shortest comes first, and is the one that counts.
    const auto isBegun = [](const std::string& first, const std::string& second) {
        return second.starts_with(first);
    };
    sorted_.erase(std::unique(sorted_.begin(), sorted_.end(), isBegun), sorted_.end());
}

bool Prefixes::BeginAny(std::string_view text) const noexcept {
    // Whatever lies between a text and a prefix of it begins with that prefix.
    const auto after = std::upper_bound(sorted_.begin(), sorted_.end(), text);
    return after != sorted_.begin() && text.starts_with(*(after - 1));
}

void CharacterSurvey::Take(std::string_view text, size_t size) noexcept {
    size_t next = ahead_;
    while (next < size && isUtf8_) {
        if (KivGuiBase::IsAscii(text[next]) && text.size() - next >= Vector16::kSize) {
            const Vector16 bytes(text.data() + next);
            const PlaceMask ascii = bytes.AreBetween('\0', '~') | bytes.Are('\x7F');
            // A known distance lets the processor go on before the comparison is done.
            next += ascii == kAllPlaces ? Vector16::kSize : CountLeading(ascii);
            continue;
        }
        const unsigned length = KivGuiBase::MeasureUtf8(text.substr(next));
        if (length != 1) isAscii_ = false;
        isUtf8_ = length != 0;
        next += length;
    }
    ahead_ = std::max(next, size) - size;
}

BodySurvey::BodySurvey(std::span<const std::string> boundaries)
    : lookAhead_(std::max(Vector16::kSize, kDashes.size() + MeasureLongest(boundaries))),
      boundaries_({boundaries.begin(), boundaries.end()}),
      quotedBoundaries_(CutAtEscapes(boundaries)) {}

void BodySurvey::BeginLine(std::string_view text) {
    if (text.starts_with('.') || text.starts_with(kFrom)) {
        traits_.hasExposedStarts = true;
        ++lineEscapes_;
    } else if (text.starts_with(kDashes)) {
        const std::string_view rest = text.substr(kDashes.size());
        traits_.hasBoundaryLines = traits_.hasBoundaryLines || boundaries_.BeginAny(rest);
        traits_.hasQuotedBoundaryLines =
            traits_.hasQuotedBoundaryLines || quotedBoundaries_.BeginAny(rest);
    }
}

void BodySurvey::EndLine(uint64_t end, char last) {
    const uint64_t length = end - lineBegin_;
    traits_.longestLine = std::max(traits_.longestLine, length);
    if (length != 0 && IsBlankAscii(last)) {
        traits_.hasBlanksAtLineEnds = true;
        ++lineEscapes_;
    }
    traits_.quotedSize += AddSoftBreaks(length + lineEscapes_ * kEscapeCost);
    lineEscapes_ = 0;
}

void BodySurvey::TakeControl(std::string_view text, size_t& next) {
    const char c = text[next];
    if (text.substr(next).starts_with("\r\n")) {
        EndLine(traits_.size + next, next == 0 ? last_ : text[next - 1]);
        traits_.quotedSize += 2;
        next += 2;
        lineBegin_ = traits_.size + next;
        isAtLineStart_ = true;
        return;
    }
    const bool isLineEnd = c == '\r' || c == '\n';
    traits_.hasNul = traits_.hasNul || c == '\0';
    traits_.hasBareLineEnds = traits_.hasBareLineEnds || isLineEnd;
    traits_.hasControls = traits_.hasControls || (c != '\0' && !isLineEnd);
    ++lineEscapes_;
    ++next;
}

void BodySurvey::TakeLines(std::string_view text, size_t& next, size_t stop) {
    while (next < stop) {
        if (isAtLineStart_) BeginLine(text.substr(next));
        isAtLineStart_ = false;
        // Near the end of the body the step sees a copy, padded with bytes that count for nothing.
        char padded[Vector16::kSize];
        const size_t seen = std::min(stop - next, Vector16::kSize);
        const char* bytes = text.data() + next;
        if (text.size() - next < Vector16::kSize) {
            std::fill(std::copy(bytes, bytes + seen, padded), std::end(padded), ' ');
            bytes = padded;
        }
        const Step step(bytes);
        const size_t plain = std::min<size_t>(seen, CountLeading(~step.controls));
        const PlaceMask places = (PlaceMask{1} << plain) - 1;
        lineEscapes_ += static_cast<unsigned>(std::popcount(step.escapes & places));
        next += plain;
        if (plain < seen) TakeControl(text, next);
    }
}

size_t BodySurvey::Take(std::string_view text, bool isLast) {
    constexpr size_t kRound = 0x4000;  // stays in the cache for the second loop
    size_t taken = 0;
    const size_t end = isLast ? text.size() : text.size() - std::min(text.size(), lookAhead_);
    while (taken < end) {
        const std::string_view rest = text.substr(taken);
        size_t next = 0;
        TakeLines(rest, next, std::min(kRound, end - taken));
        characters_.Take(rest, next);
        last_ = rest[next - 1];
        traits_.size += next;
        taken += next;
    }
    if (isLast) EndLine(traits_.size, last_);
    return taken;
}

}  // namespace MIME
