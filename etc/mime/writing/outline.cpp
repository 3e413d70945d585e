#include "mime/writing/outline.h"

#include <algorithm>

namespace MIME {

namespace {

constexpr uint64_t kKeptEnd = 0x1000;  ///< bytes that are kept at each end of a body

}  // namespace

/// What of a body is shortened; nothing for an entity with children, or in another text.
std::pair<uint64_t, uint64_t> Outline::FindInside(const EntityPlace& place) const noexcept {
    const auto index = static_cast<uint32_t>(&place - tree_.places.data());
    if (place.text != 0 || tree_.HasChildren(index)) return {place.body, place.body};
    if (place.end - place.body <= 2 * kKeptEnd) return {place.end, place.end};
    const uint64_t begin = place.body + kKeptEnd;
    const uint64_t end = place.end - kKeptEnd;
    // What is kept begins with a line end, if the body has one there.
    const std::string_view inside =
        source_.substr(static_cast<size_t>(begin), static_cast<size_t>(end - begin));
    const size_t lineEnd = inside.rfind('\n');
    return {begin, lineEnd == std::string_view::npos ? end : begin + lineEnd};
}

void Outline::Copy(uint64_t begin, uint64_t end) {
    const auto count = static_cast<uint32_t>(tree_.places.size());
    while (begin < end) {
        std::pair<uint64_t, uint64_t> inside(end, end);
        for (; nextBody_ < count; ++nextBody_) {
            inside = FindInside(tree_.places[nextBody_]);
            if (inside.second > begin) break;
        }
        if (nextBody_ == count) inside = {end, end};
        const uint64_t keptEnd = std::clamp(inside.first, begin, end);
        Keep(begin, keptEnd);
        begin = std::clamp(inside.second, keptEnd, end);
        KeepDashes(keptEnd, begin);
    }
}

void Outline::Keep(uint64_t begin, uint64_t end) {
    if (begin == end) return;
    stretches_.push_back({text_.size(), begin, kept_, end - begin});
    text_ += source_.substr(static_cast<size_t>(begin), static_cast<size_t>(end - begin));
    kept_ += end - begin;
}

/// Keeps the lines that begin with "--", each with the line end before it.
void Outline::KeepDashes(uint64_t begin, uint64_t end) {
    constexpr uint64_t kWindow = 0x400000;
    constexpr std::string_view kDashes = "\n--";
    const std::string_view text = source_.substr(0, static_cast<size_t>(end));
    while (begin < end) {
        const std::string_view window =
            text.substr(static_cast<size_t>(begin), kWindow + kDashes.size() - 1);
        const size_t found = window.find(kDashes);
        const bool isThere = found != std::string_view::npos;
        const uint64_t line = begin + (isThere ? found : std::min<uint64_t>(kWindow, end - begin));
        begin = line;
        if (isThere) {
            begin = std::min<uint64_t>(text.find('\n', static_cast<size_t>(line) + 1), end);
            Keep(line, begin);
        }
        passed_.Pass(source_.data() + begin);
    }
}

void Outline::Put(const NewText& added) {
    const uint64_t begin = text_.size();
    text_ += added.outline;
    if (added.role == NewText::Role::markup) return;
    added_.push_back({begin, text_.size(), added.role, added.owner});
}

template <class GetPlace>
uint64_t Outline::CountBefore(uint64_t place, GetPlace getPlace) const noexcept {
    const auto after = std::upper_bound(
        stretches_.begin(), stretches_.end(), place,
        [&](uint64_t at, const Stretch& stretch) { return at < getPlace(stretch); });
    if (after == stretches_.begin()) return 0;
    const Stretch& last = *(after - 1);
    return last.before + std::min(place - getPlace(last), last.size);
}

bool Outline::IsAt(uint64_t place, uint64_t sourcePlace) const noexcept {
    return CountBefore(place, [](const Stretch& stretch) { return stretch.at; }) ==
           CountBefore(sourcePlace, [](const Stretch& stretch) { return stretch.source; });
}

}  // namespace MIME
