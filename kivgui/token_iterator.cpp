#include "kivgui/token_iterator.h"

#include <algorithm>

#include "kivgui/ascii.h"
#include "kivgui/quoted_string.h"

namespace KivGuiBase {

namespace {

/// Length of the token at the start of `text`, up to a separator outside quotes.
size_t MeasureToken(std::string_view text, std::string_view separators) noexcept {
    for (size_t at = 0; at < text.size();) {
        if (text[at] == '"') {
            at += ScanQuotedString(text.substr(at)).length;
        } else if (separators.find(text[at]) != std::string_view::npos) {
            return at;
        } else {
            ++at;
        }
    }
    return text.size();
}

}  // namespace

bool TokenIterator::ToNext() noexcept {
    const std::string_view text = text_;
    while (position_ < text.size()) {
        const std::string_view rest = text.substr(position_);
        const std::string_view found = rest.substr(0, MeasureToken(rest, separators_));
        const size_t next = position_ + found.size() + 1;  // past the separator
        position_ = static_cast<unsigned>(std::min(next, text.size()));
        if (!TrimSpace(found).empty()) {
            token = found;
            return token.GetLength() == found.size();
        }
    }
    token = AnsiStr();
    return false;
}

}  // namespace KivGuiBase
