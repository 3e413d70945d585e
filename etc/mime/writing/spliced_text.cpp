#include "mime/writing/spliced_text.h"

#include <algorithm>
#include <utility>

namespace MIME {

std::string_view FindLineEnd(std::string_view text) noexcept {
    const size_t feed = text.find('\n');
    if (feed == std::string_view::npos) return "\r\n";
    return feed > 0 && text[feed - 1] == '\r' ? "\r\n" : "\n";
}

void SplicedText::Replace(uint64_t begin, uint64_t end, NewText with) {
    splices_.push_back({begin, end, std::move(with)});
}

void SplicedText::Sort() {
    std::stable_sort(splices_.begin(), splices_.end(), [](const Splice& a, const Splice& b) {
        return std::pair(a.begin, a.end) < std::pair(b.begin, b.end);
    });
}

template <class Copy, class Put>
void SplicedText::Walk(uint64_t from, Copy copy, Put put) const {
    for (const Splice& splice : splices_) {
        if (splice.begin < from) continue;
        copy(from, splice.begin);
        put(splice.with);
        from = splice.end;
    }
    copy(from, source_.size());
}

void SplicedText::Write(uint64_t from, const Take& take) const {
    // Pieces, so that a target sees how a big mail proceeds.
    constexpr size_t kPiece = size_t{1} << 20;
    PassedPages passed = tree_.Pass(source_.data() + from);
    const auto copy = [&](uint64_t begin, uint64_t end) {
        std::string_view rest =
            source_.substr(static_cast<size_t>(begin), static_cast<size_t>(end - begin));
        while (!rest.empty()) {
            take(rest.substr(0, kPiece));
            rest.remove_prefix(std::min(kPiece, rest.size()));
            passed.Pass(rest.data());
        }
    };
    Walk(from, copy, [&take](const NewText& added) { added.write(take); });
}

void SplicedText::WriteOutline(uint64_t from, Outline& outline) const {
    Walk(
        from, [&outline](uint64_t begin, uint64_t end) { outline.Copy(begin, end); },
        [&outline](const NewText& added) { outline.Put(added); });
}

}  // namespace MIME
