#include "mime/parser/report.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>

#include "kivgui/convert.h"
#include "kivgui/text_builder.h"

// What is said about a text: deviations that were tolerated, and the text of the failure that ended the
// reading. A kind of deviation has a bit in its entity, or in the whole text when it is harmless, so that a
// text of nothing but deviations costs one test for each.

namespace MIME {

void Report::Note(Deviation::keys kind, const char* where) {
    if (target_ == nullptr) return;
    const Deviation::Severity severity = Deviation::GetSeverity(kind);
    const bool oncePerText = severity == Deviation::Severity::harmless;
    uint64_t& noted = (oncePerText || entities_.empty() ? top_ : entities_.back()).noted;
    const uint64_t bit = uint64_t{1} << kind;
    if ((noted & bit) != 0) return;
    noted |= bit;
    target_->worst = std::max(target_->worst, severity);
    if (target_->deviations.GetCount() >= ReadReport::kMaxEntries ||
        pathLength_ > ReadReport::kMaxPathText - pathText_ ||
        !target_->deviations.Add({kind, GetOffset(where), MakePath()})) {
        ++target_->omitted;
        return;
    }
    pathText_ += pathLength_;
}

void Report::NoteFailure(const char* where) noexcept {
    if (target_ == nullptr) return;
    target_->failed = true;
    target_->failureOffset = GetOffset(where);
    target_->failurePath = MakePath();
}

AnsiStr Report::MakePath() const noexcept {
    KivGuiBase::TextBuilder path(pathLength_);
    for (const Entity& entity : entities_) {
        char digits[sizeof "4294967295"];
        if (!path.IsEmpty()) path.Append('.');
        path.Append(KivGuiBase::UInt2Str(digits, entity.number));
    }
    return path.Finish();
}

namespace {

/// A number in a path, with the dot before it.
unsigned MeasureStep(unsigned number) noexcept {
    unsigned length = 2;
    while (number >= 10) {
        number /= 10;
        ++length;
    }
    return length;
}

}  // namespace

void Report::Push(unsigned number) {
    entities_.push_back({number});
    pathLength_ += MeasureStep(number);
}

void Report::Pop() noexcept {
    pathLength_ -= MeasureStep(entities_.back().number);
    entities_.pop_back();
}

namespace Deviation {

namespace {

struct Row {
    const char* name;
    Severity severity;
    const char* text;
};

constexpr Row kRows[] = {
#define MIME_DEVIATION(name, severity, text) {#name, Severity::severity, text},
#include "mime/parser/deviations.inc"
};
static_assert(std::size(kRows) <= 64, "Report keeps a bit for each kind");

constexpr Row kNone = {"", Severity::harmless, ""};

const Row& GetRow(keys key) noexcept {
    return key != invalid && key < std::size(kRows) ? kRows[key] : kNone;
}

}  // namespace

AnsiStr GetName(keys key) noexcept {
    return GetRow(key).name;
}

AnsiStr GetStr(keys key) noexcept {
    return GetRow(key).text;
}

Severity GetSeverity(keys key) noexcept {
    return GetRow(key).severity;
}

}  // namespace Deviation

}  // namespace MIME

namespace MIME::Messages {

using KivGuiBase::AnsiStr;

namespace {

// Not printf: a quoted line may be longer than printf can count.
AnsiStr Join(std::initializer_list<std::string_view> pieces) noexcept {
    AnsiStr text;
    for (const std::string_view piece : pieces) text.Append(piece, KivGuiBase::Growth::spare);
    text.Shrink();
    return text;
}

}  // namespace

AnsiStr UnexpectedHeaderLine(std::string_view line) noexcept {
    return Join({"Unexpected header line: \"", line, "\""});
}

AnsiStr UnsupportedTransferEncoding(std::string_view name) noexcept {
    return Join({"unsupported transfer encoding \"", name, "\""});
}

AnsiStr InvalidContentLength(std::string_view value) noexcept {
    return Join({"invalid content-length=\"", value, "\""});
}

AnsiStr ContentLengthExceedsData(uint64_t length, uint64_t left) noexcept {
    return KivGuiBase::FmtArgs("invalid content-length=\"%llu\" exceeds remaining data=%llu",
                               static_cast<unsigned long long>(length),
                               static_cast<unsigned long long>(left));
}

AnsiStr UnexpectedData(std::string_view encoding, std::string_view text) noexcept {
    return Join({"unexpected ", encoding, " data \"", text, "\""});
}

AnsiStr LimitReached(std::string_view what, unsigned long long limit) noexcept {
    return Join({"limit reached: more than ", KivGuiBase::FmtArgs("%llu", limit), " ", what});
}

AnsiStr WriteFailed() noexcept {
    const AnsiStr reason = KivGuiBase::GetErrorMessage(KivGuiBase::GetLastError(), 0, 1);
    return Join({"write failed (", reason, ")"});
}

}  // namespace MIME::Messages
