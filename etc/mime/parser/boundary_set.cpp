#include "mime/parser/boundary_set.h"

#include <algorithm>
#include <cstring>

#include "kivgui/ascii.h"
#include "mime/foundation/vector16.h"

namespace MIME {

using KivGuiBase::IsBlankAscii;

namespace {

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

}  // namespace

void BoundarySet::Push(const AnsiStr& boundary, const char* where) {
    const AnsiStr wanted = TrimBlanks(boundary);
    levels_.push_back({wanted, kNone});
    if (wanted.IsEmpty()) return;
    NotePrefixes(wanted, where);
    longest_ = std::max<size_t>(longest_, boundary.GetLength());
    const auto [place, isNew] = innermost_.try_emplace(levels_.back().boundary, levels_.size() - 1);
    if (!isNew) levels_.back().shadowed = std::exchange(place->second, levels_.size() - 1);
}

void BoundarySet::Pop() noexcept {
    const Level& level = levels_.back();
    const auto place = innermost_.find(level.boundary);
    if (place != innermost_.end()) {
        if (level.shadowed != kNone) {
            place->second = level.shadowed;
        } else if (!level.boundary.IsEmpty()) {
            innermost_.erase(place);
        }
    }
    levels_.pop_back();
}

bool BoundarySet::Lookup(std::string_view boundary, size_t& level) const noexcept {
    const auto place = innermost_.find(boundary);
    if (place == innermost_.end()) return false;
    level = place->second;
    return true;
}

bool BoundarySet::Match(const char* line, DelimiterLine& found) const noexcept {
    if (textEnd_ - line < 2 || line[0] != '-' || line[1] != '-') return false;
    Cursor cursor(line, static_cast<uint64_t>(textEnd_ - line));
    const Line whole = PeekLine(cursor, {state_.options.lineFeeds, true});
    std::string_view boundary = TrimBlanks(whole.text.substr(2));
    constexpr std::string_view kLastMark = "--";
    if (boundary.empty() || boundary.size() > longest_ + kLastMark.size()) return false;
    found = {line, line + whole.extent, 0, false};
    if (Lookup(boundary, found.level)) return true;
    if (!boundary.ends_with(kLastMark)) return false;
    boundary.remove_suffix(kLastMark.size());
    found.last = true;
    return Lookup(TrimBlanks(boundary), found.level);
}

bool BoundarySet::IsLineStart(const char* lineStart, const char* place) const noexcept {
    if (place == lineStart) return true;
    if (place[-1] != '\n') return false;
    return state_.options.lineFeeds || (place - lineStart >= 2 && place[-2] == '\r');
}

bool BoundarySet::Find(const char* lineStart, const char* from, const char* stop,
                       DelimiterLine& found) {
    while ((from = FindDashes(from, stop, textEnd_)) != nullptr) {
        const bool atLineStart = IsLineStart(lineStart, from);
        if (atLineStart && Match(from, found)) return true;
        const char* dashesEnd = from;
        while (dashesEnd != textEnd_ && *dashesEnd == '-') ++dashesEnd;
        if (state_.WantsNotes()) NoteLookalike(from, dashesEnd, atLineStart);
        from = dashesEnd;
    }
    return false;
}

/// In a run of dashes the innermost delimiter can begin at one place only, because the boundary's
/// own dashes have to end where the run does.
void BoundarySet::NoteLookalike(const char* dashes, const char* dashesEnd, bool atLineStart) {
    constexpr size_t kLongest = 256;  // of a boundary, so that looking costs little
    if (levels_.empty()) return;
    const std::string_view boundary = levels_.back().boundary;
    if (boundary.empty() || boundary.size() > kLongest) return;
    const size_t own = CountDashes(boundary);
    if (static_cast<size_t>(dashesEnd - dashes) < own + 2) return;
    const std::string_view text(dashesEnd, static_cast<size_t>(textEnd_ - dashesEnd));
    if (!text.starts_with(boundary.substr(own))) return;
    const char* place = dashesEnd - own - 2;
    state_.Note(atLineStart && place == dashes ? Deviation::delimiterWithTail
                                               : Deviation::delimiterInsideLine,
                place);
}

void BoundarySet::NotePrefixes(const AnsiStr& boundary, const char* where) {
    constexpr size_t kLevels = 64;  // the nearest; more would make deep trees cost their square
    constexpr size_t kLongest = 1000;
    if (!state_.WantsNotes()) return;
    const std::string_view inner = std::string_view(boundary).substr(0, kLongest);
    const size_t outermost = levels_.size() - 1 > kLevels ? levels_.size() - 1 - kLevels : 0;
    for (size_t i = levels_.size() - 1; i-- > outermost;) {
        const std::string_view outer = std::string_view(levels_[i].boundary).substr(0, kLongest);
        if (outer.empty()) continue;
        if (inner.starts_with(outer) || outer.starts_with(inner)) {
            state_.Note(Deviation::boundaryIsPrefix, where);
            return;
        }
    }
}

}  // namespace MIME
