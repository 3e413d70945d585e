#include "mime/parser/delimiter.h"

#include "mime/parser/messages.h"

namespace MIME {

bool SkipToBoundary(Cursor& cursor, Delimiter& delimiter, bool& last, KivGuiBase::AnsiStr& error,
                    LineRules rules) noexcept {
    for (;;) {
        const Line line = TakeLine(cursor, rules);
        if (line.kind == Line::Kind::hasNul) {
            error = Messages::kNulInText;
            return false;
        }
        if (line.kind == Line::Kind::rest && line.text.empty()) {
            error = Messages::kTextBoundaryMissing;
            return false;
        }
        const size_t at = delimiter.Find(line.text);
        if (at != TextFinder::kNotFound) {
            last = line.text.substr(at + delimiter.GetLength()).starts_with("--");
            return true;
        }
    }
}

}  // namespace MIME
