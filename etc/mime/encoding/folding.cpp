#include <algorithm>

#include "kivgui/ascii.h"
#include "kivgui/text_builder.h"
#include "mime/foundation/guarded.h"
#include "mime/mime.h"

// Takes one line after another off the front of the text: up to the last blank within 78 characters,
// else up to the next blank within 998 (RFC 5322, 2.1.1 and 2.2.3). The blank stays at the start of
// the next line, where it marks the fold. Every line after the first begins with a blank: where the
// text has none, one is inserted, so no value can begin a field of its own. Linear: no line looks
// further than 998 characters ahead, and only when its first 78 have no blank.

namespace MIME {

using KivGuiBase::IsBlankAscii;
using KivGuiBase::TextBuilder;

namespace {

constexpr size_t kSoftLimit = 78;   // RFC 5322, 2.1.1
constexpr size_t kHardLimit = 998;  // RFC 5322, 2.1.1

constexpr bool IsLineBreak(char c) noexcept {
    return c == '\r' || c == '\n';
}

/// Returns true if a line may end before this place of the text.
constexpr bool IsCut(std::string_view text, size_t at) noexcept {
    return at == text.size() || IsBlankAscii(text[at]) || IsLineBreak(text[at]);
}

/// Length of the line at the start of the text, which is not empty.
size_t MeasureLine(std::string_view text) noexcept {
    const size_t limit = std::min(text.size(), kSoftLimit);
    size_t end = 0;
    size_t fold = 0;  // 0: there is none after the start
    for (; end < limit && !IsLineBreak(text[end]); ++end) {
        if (IsBlankAscii(text[end])) fold = end;
    }
    if (IsCut(text, end)) fold = end;
    if (fold != 0) return fold;
    // A token that is too long for any line gets a line of its own.
    while (end < kHardLimit && !IsCut(text, end)) ++end;
    return end;
}

AnsiStr Fold(std::string_view rest) noexcept {
    const uint64_t room = rest.size() + 2 * ((uint64_t{rest.size()} + kSoftLimit) / kSoftLimit);
    TextBuilder folded(static_cast<unsigned>(std::min<uint64_t>(room, AnsiStr::kMaxLength)));
    while (!rest.empty()) {
        const size_t length = MeasureLine(rest);
        folded.Append(rest.substr(0, length));
        folded.Append("\r\n");
        rest.remove_prefix(length);
        // A line break of the text is the one just written.
        if (rest.starts_with('\r')) rest.remove_prefix(1);
        if (rest.starts_with('\n')) rest.remove_prefix(1);
        if (!rest.empty() && !IsBlankAscii(rest.front())) folded.Append(' ');
    }
    return folded.Finish();
}

}  // namespace

AnsiStr Encoding::FoldHeader(const AnsiStr& text) noexcept {
    const std::string_view rest = GetCText(text);
    if (rest.empty()) return {};
    return Guarded(AnsiStr(), [rest] { return Fold(rest); });
}

}  // namespace MIME
