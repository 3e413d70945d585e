#include <algorithm>
#include <string_view>

#include "kivgui/text_builder.h"
#include "mime/foundation/guarded.h"
#include "mime/mime.h"

namespace MIME {

using KivGuiBase::TextBuilder;

namespace {

constexpr std::string_view kSignature = "-- ";  // RFC 3676, 4.3

/// One line of a format=flowed text (RFC 3676, 4).
struct FlowedLine {
    size_t depth = 0;       ///< quote marks before it
    std::string_view text;  ///< without quote marks and space-stuffing
    bool isFlowed = false;  ///< continues on the next line
    bool isSignature = false;
};

/// Takes the line at the start of a text that is not empty.
FlowedLine TakeLine(std::string_view& text) noexcept {
    const size_t end = std::min(text.find('\n'), text.size());
    FlowedLine line;
    line.text = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.text.ends_with('\r')) line.text.remove_suffix(1);
    line.depth = std::min(line.text.find_first_not_of('>'), line.text.size());
    line.text.remove_prefix(line.depth);
    if (line.text.starts_with(' ')) line.text.remove_prefix(1);
    line.isSignature = line.text == kSignature;
    line.isFlowed = line.text.ends_with(' ') && !line.isSignature;
    return line;
}

AnsiStr JoinLines(const AnsiStr& text, bool deleteSpace) noexcept {
    TextBuilder out(text.GetLength());
    bool isOpen = false;  // the last line was flowed
    size_t openDepth = 0;
    for (std::string_view rest = text; !rest.empty();) {
        FlowedLine line = TakeLine(rest);
        if (isOpen && (line.depth != openDepth || line.isSignature)) {
            out.Append("\r\n");
            isOpen = false;
        }
        if (!isOpen) {
            for (size_t level = 0; level < line.depth; ++level) out.Append("> ");
        }
        if (line.isFlowed && deleteSpace) line.text.remove_suffix(1);
        out.Append(line.text);
        if (!line.isFlowed) out.Append("\r\n");
        isOpen = line.isFlowed;
        openDepth = line.depth;
    }
    if (isOpen) out.Append("\r\n");
    return out.Finish();
}

}  // namespace

AnsiStr Decoding::FlowedToParagraphs(const AnsiStr& text, bool deleteSpace) noexcept {
    return Guarded(AnsiStr(), [&] { return JoinLines(text, deleteSpace); });
}

}  // namespace MIME
