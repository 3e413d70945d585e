#include <algorithm>

#include "kivgui/ascii.h"
#include "kivgui/text_builder.h"
#include "mime/mime.h"

namespace MIME {

using KivGuiBase::IsBlankAscii;
using KivGuiBase::TextBuilder;

namespace {

constexpr size_t kSoftLimit = 78;   // RFC 5322, 2.1.1
constexpr size_t kHardLimit = 998;  // RFC 5322, 2.1.1

constexpr bool IsLineBreak(char c) noexcept {
    return c == '\r' || c == '\n';
}

/// Does a line that is cut before this place of the text end where it should?
constexpr bool IsCut(std::string_view text, size_t at) noexcept {
    return at == text.size() || IsBlankAscii(text[at]) || IsLineBreak(text[at]);
}

/// Length of the line at the start of the text, which is not empty.
size_t MeasureLine(std::string_view text) noexcept {
    const size_t limit = std::min(text.size(), kSoftLimit);
    size_t end = 0;
    size_t fold = 0;  // 0: there is none behind the start
    for (; end < limit && !IsLineBreak(text[end]); ++end) {
        if (IsBlankAscii(text[end])) fold = end;
    }
    if (IsCut(text, end)) fold = end;
    if (fold != 0) return fold;
    // A token that no line can hold goes on a line of its own.
    while (end < kHardLimit && !IsCut(text, end)) ++end;
    return end;
}

}  // namespace

AnsiStr Encoding::FoldHeader(const AnsiStr& text) noexcept {
    std::string_view rest = GetCText(text);
    if (rest.empty()) return {};
    const uint64_t room = rest.size() + 2 * ((uint64_t{rest.size()} + kSoftLimit) / kSoftLimit);
    TextBuilder folded(static_cast<unsigned>(std::min<uint64_t>(room, AnsiStr::kMaxLength)));
    while (!rest.empty()) {
        const size_t length = MeasureLine(rest);
        folded.Append(rest.substr(0, length));
        folded.Append("\r\n");
        rest.remove_prefix(length);
        // A line break that was there already is the one just written.
        if (rest.starts_with('\r')) rest.remove_prefix(1);
        if (rest.starts_with('\n')) rest.remove_prefix(1);
        if (!rest.empty() && !IsBlankAscii(rest.front())) folded.Append(' ');
    }
    return folded.Finish();
}

}  // namespace MIME
