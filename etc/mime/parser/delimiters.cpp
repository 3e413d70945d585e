// What ends a body: the exact rule, then the mail rule.
//
// The mail rule has to know, for any line that begins with "--", whether it is a boundary line of any
// open entity. The boundaries are in a hash table, so that the answer costs no more when thousands are
// open; a boundary that is open twice refers to the level it hides. The search itself looks for "--" 16
// places at a time, and tests one place for each run of dashes: text of dashes costs what other text
// costs. Lookalikes, which other programs might take for delimiters, are reported with bounds on what is
// searched for (the innermost boundary, up to 256 characters of it), so that looking stays cheap.
//
// The exact rule searches with TextFinder, which is linear too. It departs from RFC 2046, 5.1.1:
//  1. A delimiter may follow other characters on its line.
//  2. Anything may follow it on its line.
//  3. Boundaries of enclosing entities are not looked for.

#include "mime/parser/delimiters.h"

#include <algorithm>
#include <new>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kivgui/ascii.h"
#include "kivgui/kernels/vector16.h"
#include "mime/foundation/text_search.h"
#include "mime/parser/report.h"

namespace MIME {

using KivGuiBase::CountLeading;
using KivGuiBase::IsBlankAscii;
using KivGuiBase::PlaceMask;
using KivGuiBase::Vector16;

namespace {

constexpr size_t kLineEnd = 2;  // CR LF
constexpr uint64_t kCopiedPiece = 0x80000;
constexpr uint64_t kDecodedPiece = 0x8000;

// -------------------------------------------------------------------------------- exact rule --

class ExactDelimiters final : public Delimiters {
public:
    explicit ExactDelimiters(Reading& reading) noexcept : reading_(reading) {}

    void Open(const AnsiStr& boundary) override {
        open_.emplace_back(AnsiStr("--") + boundary);
        // Without memory for its text a delimiter would be found everywhere.
        if (open_.back().GetLength() == 0) throw std::bad_alloc();
    }
    void Close() noexcept override { open_.pop_back(); }

    bool SkipToBoundary(BoundaryLine& found) override;
    bool IsBoundaryLine(const char* /*line*/) const noexcept override { return false; }

    void BeginBody(bool isIdentity) noexcept override { isIdentity_ = isIdentity; }
    bool NextPiece(BodyPiece& piece) override {
        return isIdentity_ ? NextCopiedPiece(piece) : NextLine(piece);
    }

private:
    bool NextCopiedPiece(BodyPiece& piece) noexcept;
    bool NextLine(BodyPiece& piece) noexcept;

    Reading& reading_;
    std::vector<TextFinder> open_;
    bool isIdentity_ = false;
};

bool ExactDelimiters::SkipToBoundary(BoundaryLine& found) {
    Cursor& cursor = reading_.cursor;
    TextFinder& delimiter = open_.back();
    found.before = cursor.GetNext();  // the text before it is not kept
    found.level = open_.size() - 1;
    for (;;) {
        const Line line = TakeLine(cursor, Rules::exact);
        if (line.kind == Line::Kind::hasNul) return reading_.Fail(Messages::kNulInText);
        if (line.kind == Line::Kind::rest && line.text.empty()) {
            return reading_.Fail(Messages::kTextBoundaryMissing);
        }
        const size_t at = delimiter.Find(line.text);
        if (at != TextFinder::kNotFound) {
            found.after = cursor.GetNext();
            found.closing = line.text.substr(at + delimiter.GetLength()).starts_with("--");
            return true;
        }
    }
}

/// The piece is a whole number of spans: a body without a delimiter fails, but keeps what its whole
/// spans held. A span counts while a delimiter would still fit after it.
bool ExactDelimiters::NextCopiedPiece(BodyPiece& piece) noexcept {
    constexpr uint64_t kShortestSpan = 5000;
    TextFinder& delimiter = open_.back();
    const uint64_t length = delimiter.GetLength();
    const uint64_t span = std::max(kShortestSpan, length);
    const uint64_t pass = (kCopiedPiece + span - 1) / span * span;
    // A delimiter may begin, with its line end, right after the bytes of a pass.
    const uint64_t searched = pass + kLineEnd + length;
    const std::string_view text =
        reading_.cursor.GetRest().substr(0, static_cast<size_t>(searched));
    const size_t at = delimiter.Find(text);
    uint64_t size = pass;
    if (at != TextFinder::kNotFound) {
        const size_t stop = TrimLineEnd(text.substr(0, at), Rules::exact).size();
        piece.isLast = stop <= pass;
        if (piece.isLast) size = stop;
    } else if (text.size() < searched) {
        size = text.size() < length ? 0 : (text.size() - length) / span * span;
        if (size == 0) return reading_.Fail(Messages::kDataBoundaryMissing);
    }
    piece.text = text.substr(0, static_cast<size_t>(size));
    piece.extent = size;
    return true;
}

bool ExactDelimiters::NextLine(BodyPiece& piece) noexcept {
    Cursor& cursor = reading_.cursor;
    const Line line = PeekLine(cursor, Rules::exact);
    if (line.kind == Line::Kind::hasNul) return reading_.Fail(Messages::kNulInText);
    piece.isLast = line.text.starts_with(open_.back().GetWanted());
    if (piece.isLast) return true;
    cursor.Skip(line.extent);
    if (line.kind == Line::Kind::rest && line.text.empty()) {
        return reading_.Fail(Messages::kTextBoundaryMissing);
    }
    piece.text = line.text;
    return true;
}

// --------------------------------------------------------------------------------- mail rule --

std::string_view TrimBlanks(std::string_view text) noexcept {
    while (!text.empty() && IsBlankAscii(text.back())) text.remove_suffix(1);
    return text;
}

/// The first "--" that begins before `stop`; null when there is none. `textEnd` is not passed.
const char* FindDashes(const char* from, const char* stop, const char* textEnd) noexcept {
    if (textEnd - from < 2) return nullptr;
    stop = std::min(stop, textEnd - 1);
    constexpr auto kStep = static_cast<std::ptrdiff_t>(Vector16::kSize);
    for (; stop - from >= kStep && textEnd - from > kStep; from += kStep) {
        const PlaceMask first = Vector16(from).Are('-');
        if (first == 0) continue;
        const PlaceMask both = first & Vector16(from + 1).Are('-');
        if (both != 0) return from + CountLeading(~both);
    }
    for (; from < stop; ++from) {
        if (from[0] == '-' && from[1] == '-') return from;
    }
    return nullptr;
}

size_t CountDashes(std::string_view text) noexcept {
    return std::min(text.find_first_not_of('-'), text.size());
}

class MailDelimiters final : public Delimiters {
public:
    explicit MailDelimiters(Reading& reading) noexcept
        : reading_(reading), textEnd_(reading.cursor.GetEnd()) {}

    void Open(const AnsiStr& boundary) override;
    void Close() noexcept override;
    bool SkipToBoundary(BoundaryLine& found) override;
    bool IsBoundaryLine(const char* line) const noexcept override {
        BoundaryLine found;
        return Match(line, found);
    }

    void BeginBody(bool isIdentity) noexcept override {
        body_ = reading_.cursor.GetNext();
        pieceSize_ = static_cast<size_t>(isIdentity ? kCopiedPiece : kDecodedPiece);
    }
    bool NextPiece(BodyPiece& piece) override;

private:
    struct Level {
        AnsiStr boundary;  ///< without the blanks at its end, which no boundary line has
        size_t hidden;     ///< the level outside with the same boundary; kNone for none
    };
    static constexpr size_t kNone = SIZE_MAX;

    Line PeekAsBoundaryLine(const char* line) const noexcept;
    bool Match(const char* line, BoundaryLine& found) const noexcept;
    bool Lookup(std::string_view boundary, size_t& level) const noexcept;
    bool Find(const char* lineStart, const char* from, const char* stop, BoundaryLine& found);
    void NoteLookalike(const char* dashes, const char* dashesEnd, bool atLineStart);
    void NotePrefixes(const AnsiStr& boundary);

    Reading& reading_;
    const char* textEnd_;
    const char* body_ = nullptr;
    size_t pieceSize_ = 0;
    std::vector<Level> levels_;
    std::unordered_map<std::string_view, size_t> innermost_;  ///< level by boundary
    BoundaryLine found_;             ///< the one after the last body, while the levels are the same
    const char* bodyEnd_ = nullptr;  ///< where that body ended
    size_t longest_ = 0;             ///< no boundary so far was longer, with its blanks
};

void MailDelimiters::Open(const AnsiStr& boundary) {
    found_.before = nullptr;
    const std::string_view trimmed = TrimBlanks(boundary);
    const AnsiStr wanted = trimmed.size() == boundary.GetLength() ? boundary : AnsiStr(trimmed);
    levels_.push_back({wanted, kNone});
    if (wanted.IsEmpty()) return;
    NotePrefixes(wanted);
    longest_ = std::max<size_t>(longest_, boundary.GetLength());
    const auto [place, isNew] = innermost_.try_emplace(levels_.back().boundary, levels_.size() - 1);
    if (!isNew) levels_.back().hidden = std::exchange(place->second, levels_.size() - 1);
}

void MailDelimiters::Close() noexcept {
    found_.before = nullptr;
    const Level& level = levels_.back();
    const auto place = innermost_.find(level.boundary);
    if (place != innermost_.end()) {
        if (level.hidden != kNone) {
            place->second = level.hidden;
        } else if (!level.boundary.IsEmpty()) {
            innermost_.erase(place);
        }
    }
    levels_.pop_back();
}

bool MailDelimiters::Lookup(std::string_view boundary, size_t& level) const noexcept {
    if (boundary.empty() || levels_.empty()) return false;
    if (levels_.back().boundary == boundary) {
        level = levels_.size() - 1;
        return true;
    }
    const auto place = innermost_.find(boundary);
    if (place == innermost_.end()) return false;
    level = place->second;
    return true;
}

/// The line, or the beginning of one that is too long for a boundary line: gigabytes without a line end
/// are not searched. After the longest boundary there can only be blanks.
Line MailDelimiters::PeekAsBoundaryLine(const char* line) const noexcept {
    constexpr uint64_t kDashes = 4;  // before and after the boundary
    const auto left = static_cast<uint64_t>(textEnd_ - line);
    uint64_t reach = std::min<uint64_t>(left, longest_ + kDashes + kLineEnd);
    const Line start = PeekLine(Cursor(line, reach), Rules::mail);
    if (start.kind == Line::Kind::ended) return start;
    while (reach < left && IsBlankAscii(line[reach])) ++reach;
    return PeekLine(Cursor(line, std::min<uint64_t>(left, reach + kLineEnd)), Rules::mail);
}

/// What may follow a boundary: "--" when it closes its entity, then blanks, then the line end.
bool MailDelimiters::Match(const char* line, BoundaryLine& found) const noexcept {
    if (textEnd_ - line < 2 || line[0] != '-' || line[1] != '-') return false;
    const Line whole = PeekAsBoundaryLine(line);
    std::string_view boundary = TrimBlanks(whole.text.substr(2));
    constexpr std::string_view kClosing = "--";
    if (boundary.empty() || boundary.size() > longest_ + kClosing.size()) return false;
    found = {line, line + whole.extent};
    if (Lookup(boundary, found.level)) return true;
    if (!boundary.ends_with(kClosing)) return false;
    boundary.remove_suffix(kClosing.size());
    found.closing = true;
    return Lookup(TrimBlanks(boundary), found.level);
}

/// The first boundary line that begins at or after `from` and before `stop`. Reports lookalikes.
/// @param lineStart  where the first line of the searched text begins, at or before `from`.
bool MailDelimiters::Find(const char* lineStart, const char* from, const char* stop,
                          BoundaryLine& found) {
    if (innermost_.empty()) return false;
    while ((from = FindDashes(from, stop, textEnd_)) != nullptr) {
        const bool atLineStart = from == lineStart || from[-1] == '\n';
        if (atLineStart && Match(from, found)) return true;
        const char* dashesEnd = from;
        while (dashesEnd != textEnd_ && *dashesEnd == '-') ++dashesEnd;
        if (reading_.report.IsWanted()) NoteLookalike(from, dashesEnd, atLineStart);
        from = dashesEnd;
    }
    return false;
}

bool MailDelimiters::SkipToBoundary(BoundaryLine& found) {
    Cursor& cursor = reading_.cursor;
    if (found_.before != nullptr && cursor.GetNext() == bodyEnd_) {
        found = found_;
    } else if (!Find(cursor.GetNext(), cursor.GetNext(), textEnd_, found)) {
        found = {textEnd_, textEnd_};
        found.isEnd = true;
    }
    cursor.SkipTo(found.after);
    return true;
}

bool MailDelimiters::NextPiece(BodyPiece& piece) {
    const std::string_view text = reading_.cursor.GetRest();
    // The boundary line may follow a line end that begins right after the piece.
    const std::string_view searched = text.substr(0, pieceSize_ + kLineEnd);
    BoundaryLine found;
    piece.text = text.substr(0, pieceSize_);
    if (Find(body_, text.data(), searched.data() + searched.size(), found)) {
        piece.text = text.substr(0, static_cast<size_t>(found.before - text.data()));
        piece.text = TrimLineEnd(piece.text, Rules::mail);
        piece.isLast = true;
        found_ = found;
        bodyEnd_ = text.data() + piece.text.size();
    } else if (piece.text.size() == text.size()) {
        piece.isLast = true;
    } else {
        // Whole lines where there are any: decoders look at what ends a line.
        const size_t lineFeed = piece.text.rfind('\n');
        if (lineFeed != std::string_view::npos) piece.text = piece.text.substr(0, lineFeed + 1);
    }
    piece.extent = piece.text.size();
    return true;
}

/// In a run of dashes the innermost delimiter can begin at one place only, because the boundary's
/// own dashes have to end where the run does.
void MailDelimiters::NoteLookalike(const char* dashes, const char* dashesEnd, bool atLineStart) {
    constexpr size_t kLongest = 256;  // of a boundary
    const std::string_view boundary = levels_.back().boundary;
    if (boundary.empty() || boundary.size() > kLongest) return;
    const size_t own = CountDashes(boundary);
    if (static_cast<size_t>(dashesEnd - dashes) < own + 2) return;
    const std::string_view text(dashesEnd, static_cast<size_t>(textEnd_ - dashesEnd));
    if (!text.starts_with(boundary.substr(own))) return;
    const char* place = dashesEnd - own - 2;
    reading_.Note(atLineStart && place == dashes ? Deviation::delimiterWithTail
                                                 : Deviation::delimiterInsideLine,
                  place);
}

void MailDelimiters::NotePrefixes(const AnsiStr& boundary) {
    constexpr size_t kLevels = 64;  // the nearest; more would make deep trees cost their square
    constexpr size_t kLongest = 1000;
    if (!reading_.report.IsWanted()) return;
    const std::string_view inner = std::string_view(boundary).substr(0, kLongest);
    const size_t outermost = levels_.size() - 1 > kLevels ? levels_.size() - 1 - kLevels : 0;
    for (size_t i = levels_.size() - 1; i-- > outermost;) {
        const std::string_view outer = std::string_view(levels_[i].boundary).substr(0, kLongest);
        if (outer.empty()) continue;
        if (inner.starts_with(outer) || outer.starts_with(inner)) {
            reading_.Note(Deviation::boundaryIsPrefix, reading_.cursor.GetNext());
            return;
        }
    }
}

}  // namespace

std::unique_ptr<Delimiters> Delimiters::Make(Reading& reading) {
    if (reading.IsMail()) return std::make_unique<MailDelimiters>(reading);
    return std::make_unique<ExactDelimiters>(reading);
}

}  // namespace MIME
