#include "mime/parser/cursor.h"

#include "mime/foundation/line_search.h"

namespace MIME {

namespace {

constexpr std::string_view TrimLineEnds(std::string_view text) noexcept {
    while (!text.empty() && (text.back() == '\0' || text.back() == '\r' || text.back() == '\n')) {
        text.remove_suffix(1);
    }
    return text;
}

}  // namespace

Line PeekLine(const Cursor& cursor) noexcept {
    const std::string_view rest = cursor.GetRest();
    // Two bytes are too few for a line of their own: a final CR LF is cut off, not an empty line.
    const size_t stop = rest.size() > 2 ? FindLineStop(rest.data(), rest.size()) : rest.size();
    if (stop == rest.size()) return {Line::Kind::rest, TrimLineEnds(rest), rest.size()};
    const std::string_view text = rest.substr(0, stop);
    if (rest[stop] == '\0') return {Line::Kind::hasNul, text, 0};
    return {Line::Kind::ended, text, stop + 2};
}

Line TakeLine(Cursor& cursor) noexcept {
    const Line line = PeekLine(cursor);
    cursor.Skip(line.extent);
    return line;
}

}  // namespace MIME
