#include "mime/parser/reading.h"

#include <algorithm>
#include <cstring>

#include "kivgui/utf8.h"
#include "mime/foundation/text_search.h"

namespace MIME {

namespace {

constexpr std::string_view TrimLineEnds(std::string_view text) noexcept {
    while (!text.empty() && (text.back() == '\0' || text.back() == '\r' || text.back() == '\n')) {
        text.remove_suffix(1);
    }
    return text;
}

Line PeekExactLine(std::string_view rest) noexcept {
    // Two bytes are too few for a line of their own: a final CR LF is cut off, not an empty line.
    const size_t stop = rest.size() > 2 ? FindLineStop(rest.data(), rest.size()) : rest.size();
    if (stop == rest.size()) return {Line::Kind::rest, TrimLineEnds(rest), rest.size()};
    const std::string_view text = rest.substr(0, stop);
    if (rest[stop] == '\0') return {Line::Kind::hasNul, text, 0};
    return {Line::Kind::ended, text, stop + 2};
}

Line PeekMailLine(std::string_view rest) noexcept {
    const auto* feed = rest.empty()
                           ? nullptr
                           : static_cast<const char*>(std::memchr(rest.data(), '\n', rest.size()));
    if (feed == nullptr) return {Line::Kind::rest, rest, rest.size()};
    const auto length = static_cast<size_t>(feed - rest.data());
    const bool hasReturn = length > 0 && feed[-1] == '\r';
    return {Line::Kind::ended, rest.substr(0, length - (hasReturn ? 1 : 0)), length + 1};
}

}  // namespace

Cursor Cursor::AtMessage(std::string_view text) noexcept {
    text = KivGuiBase::SkipByteOrderMark(text);
    const size_t start = std::min(text.find_first_not_of("\r\n"), text.size());
    return {text.data() + start, text.size() - start};
}

Line PeekLine(const Cursor& cursor, Rules rules) noexcept {
    return rules == Rules::mail ? PeekMailLine(cursor.GetRest()) : PeekExactLine(cursor.GetRest());
}

Line TakeLine(Cursor& cursor, Rules rules) noexcept {
    const Line line = PeekLine(cursor, rules);
    cursor.Skip(line.extent);
    return line;
}

std::string_view TrimLineEnd(std::string_view text, Rules rules) noexcept {
    if (text.ends_with("\r\n")) {
        text.remove_suffix(2);
    } else if (rules == Rules::mail && text.ends_with('\n')) {
        text.remove_suffix(1);
    }
    return text;
}

}  // namespace MIME
