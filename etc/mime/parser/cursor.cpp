#include "mime/parser/cursor.h"

#include <cstring>

#include "mime/foundation/text_search.h"

namespace MIME {

namespace {

constexpr std::string_view TrimLineEnds(std::string_view text) noexcept {
    while (!text.empty() && (text.back() == '\0' || text.back() == '\r' || text.back() == '\n')) {
        text.remove_suffix(1);
    }
    return text;
}

const char* FindChar(std::string_view text, char c) noexcept {
    return text.empty() ? nullptr
                        : static_cast<const char*>(std::memchr(text.data(), c, text.size()));
}

/// The line up to its line end by other rules than the reader's own.
Line PeekLineByRules(std::string_view rest, LineRules rules) noexcept {
    size_t from = 0;
    Line line{Line::Kind::rest, rest, rest.size()};
    while (const char* feed = FindChar(rest.substr(from), '\n')) {
        const auto at = static_cast<size_t>(feed - rest.data());
        const bool hasReturn = at > 0 && feed[-1] == '\r';
        if (rules.lineFeeds || hasReturn) {
            line = {Line::Kind::ended, rest.substr(0, at - (hasReturn ? 1 : 0)), at + 1};
            break;
        }
        from = at + 1;
    }
    if (!rules.nuls && FindChar(line.text, '\0') != nullptr) line.kind = Line::Kind::hasNul;
    return line;
}

}  // namespace

Line PeekLine(const Cursor& cursor, LineRules rules) noexcept {
    const std::string_view rest = cursor.GetRest();
    if (rules.lineFeeds || rules.nuls) return PeekLineByRules(rest, rules);
    // Two bytes are too few for a line of their own: a final CR LF is cut off, not an empty line.
    const size_t stop = rest.size() > 2 ? FindLineStop(rest.data(), rest.size()) : rest.size();
    if (stop == rest.size()) return {Line::Kind::rest, TrimLineEnds(rest), rest.size()};
    const std::string_view text = rest.substr(0, stop);
    if (rest[stop] == '\0') return {Line::Kind::hasNul, text, 0};
    return {Line::Kind::ended, text, stop + 2};
}

Line TakeLine(Cursor& cursor, LineRules rules) noexcept {
    const Line line = PeekLine(cursor, rules);
    cursor.Skip(line.extent);
    return line;
}

std::string_view TrimLineEnd(std::string_view text, LineRules rules) noexcept {
    if (text.ends_with("\r\n")) {
        text.remove_suffix(2);
    } else if (rules.lineFeeds && text.ends_with('\n')) {
        text.remove_suffix(1);
    }
    return text;
}

}  // namespace MIME
