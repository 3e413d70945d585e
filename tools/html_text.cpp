#include "html_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "kivgui/ascii.h"
#include "kivgui/utf8.h"

// One pass over the HTML, a state machine with two states: shown text, or inside an element that is
// not shown (`hidden_`), which only its own end tag leaves. White space is remembered and written as
// one space before the next text, and forgotten at a line break. A tag or comment that does not end
// takes all the rest, so nothing is looked at twice.

namespace Tool {

namespace {

using KivGuiBase::IsSpaceAscii;
using KivGuiBase::ToLowerAscii;

constexpr std::array<std::string_view, 17> kBlocks = {
    "br", "p",  "div", "tr", "li", "ul",         "ol",  "table", "h1",
    "h2", "h3", "h4",  "h5", "h6", "blockquote", "pre", "hr"};

constexpr std::array<std::string_view, 3> kHidden = {"script", "style", "title"};

struct Entity {
    std::string_view name;
    std::string_view text;
};
constexpr Entity kEntities[] = {
    {"amp", "&"},        {"lt", "<"},         {"gt", ">"},          {"quot", "\""},
    {"apos", "'"},       {"nbsp", " "},       {"copy", "\u00A9"},   {"euro", "\u20AC"},
    {"ndash", "\u2013"}, {"mdash", "\u2014"}, {"hellip", "\u2026"}, {"bull", "\u2022"},
    {"lsquo", "\u2018"}, {"rsquo", "\u2019"}, {"ldquo", "\u201C"},  {"rdquo", "\u201D"},
};

template <size_t kCount>
bool Has(const std::array<std::string_view, kCount>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

/// The character as UTF-8; empty for a number that is not a character.
std::string EncodeCharacter(unsigned character) {
    char bytes[4];
    return {bytes, KivGuiBase::EncodeUtf8(character, bytes)};
}

/// The text of a character reference, given without "&" and ";"; empty when it is not known.
std::string DecodeEntity(std::string_view name) {
    for (const Entity& entity : kEntities) {
        if (entity.name == name) return std::string(entity.text);
    }
    if (!name.starts_with('#')) return {};
    name.remove_prefix(1);
    const bool isHex = name.starts_with('x') || name.starts_with('X');
    if (isHex) name.remove_prefix(1);
    unsigned character = 0;
    const char* const end = name.data() + name.size();
    const auto read = std::from_chars(name.data(), end, character, isHex ? 16 : 10);
    return read.ec == std::errc() && read.ptr == end ? EncodeCharacter(character) : std::string();
}

class Stripper {
public:
    explicit Stripper(std::string_view html) : rest_(html) {}

    std::string Strip() {
        while (!rest_.empty()) {
            const char next = rest_.front();
            if (next == '<' && BeginsTag()) {
                TakeTag();
            } else if (next == '&') {
                TakeEntity();
            } else {
                if (hidden_.empty()) Append(rest_.substr(0, 1));
                rest_.remove_prefix(1);
            }
        }
        return std::move(out_);
    }

private:
    bool BeginsTag() const {
        if (rest_.size() < 2) return false;
        const char second = ToLowerAscii(rest_[1]);
        return second == '/' || second == '!' || second == '?' || (second >= 'a' && second <= 'z');
    }

    void TakeTag() {
        const bool isComment = rest_.starts_with("<!--");
        const std::string_view mark = isComment ? "-->" : ">";
        const size_t end = rest_.find(mark, isComment ? 4 : 1);
        const std::string_view tag = rest_.substr(1, end == std::string_view::npos ? end : end - 1);
        rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + mark.size());
        if (isComment) return;
        const bool isEnd = tag.starts_with('/');
        std::string name;
        for (const char c : tag.substr(isEnd ? 1 : 0)) {
            if (IsSpaceAscii(c) || c == '/') break;
            name += ToLowerAscii(c);
        }
        if (!hidden_.empty()) {
            if (isEnd && name == hidden_) hidden_.clear();
        } else if (Has(kHidden, name)) {
            if (!isEnd) hidden_ = name;
        } else if (Has(kBlocks, name)) {
            BreakLine(name == "p");
        }
    }

    void TakeEntity() {
        constexpr size_t kLongest = 10;
        const size_t end = rest_.substr(0, kLongest).find(';');
        std::string text;
        if (end != std::string_view::npos) text = DecodeEntity(rest_.substr(1, end - 1));
        const size_t used = text.empty() ? 1 : end + 1;
        if (hidden_.empty()) Append(text.empty() ? rest_.substr(0, 1) : std::string_view(text));
        rest_.remove_prefix(used);
    }

    void Append(std::string_view text) {
        if (text.size() == 1 && IsSpaceAscii(text.front())) {
            wantsSpace_ = true;
            return;
        }
        if (wantsSpace_ && !out_.empty() && out_.back() != '\n') out_ += ' ';
        wantsSpace_ = false;
        out_ += text;
    }

    void BreakLine(bool isParagraph) {
        wantsSpace_ = false;
        if (!out_.empty() && out_.back() != '\n') out_ += '\n';
        if (isParagraph && !out_.empty() && !out_.ends_with("\n\n")) out_ += '\n';
    }

    std::string_view rest_;
    std::string out_;
    std::string hidden_;  ///< the element whose content is not shown
    bool wantsSpace_ = false;
};

}  // namespace

std::string StripHtml(std::string_view html) {
    return Stripper(html).Strip();
}

}  // namespace Tool
