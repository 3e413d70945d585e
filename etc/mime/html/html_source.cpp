#include "mime/html/html_source.h"

#include <algorithm>
#include <array>

#include "kivgui/ascii.h"

namespace MIME {

namespace {

using KivGuiBase::EqualsCaseless;
using KivGuiBase::IsSpaceAscii;
using KivGuiBase::StartsWithCaseless;
using KivGuiBase::ToLowerAscii;

constexpr bool IsLetter(char c) noexcept {
    return ToLowerAscii(c) >= 'a' && ToLowerAscii(c) <= 'z';
}

/// The name at the start of a text that follows "<" or "</".
std::string_view GetName(std::string_view text) noexcept {
    constexpr size_t kLongest = 16;  // of those that matter here
    const size_t most = std::min(text.size(), kLongest);
    size_t length = 0;
    while (length < most && !IsSpaceAscii(text[length]) && text[length] != '/' &&
           text[length] != '>') {
        ++length;
    }
    return text.substr(0, length);
}

template <size_t kCount>
bool IsOneOf(const std::array<std::string_view, kCount>& names, std::string_view name) noexcept {
    return std::any_of(names.begin(), names.end(),
                       [name](std::string_view one) { return EqualsCaseless(one, name); });
}

/// Says which start tags are renamed.
class Renamer {
public:
    bool Wants(std::string_view name) noexcept {
        if (EqualsCaseless(name, "html")) return htmls_++ > 0;
        if (EqualsCaseless(name, "body")) return bodies_++ > 0;
        return EqualsCaseless(name, "svg") || EqualsCaseless(name, "math");
    }

private:
    size_t htmls_ = 0;
    size_t bodies_ = 0;
};

/// Removes tags from the start of a document to its end.
class TagRemover {
public:
    explicit TagRemover(std::string_view html) : rest_(html) {}

    std::string Run() {
        for (;;) {
            const size_t at = std::min(rest_.find('<'), rest_.size());
            out_ += rest_.substr(0, at);
            rest_.remove_prefix(at);
            if (rest_.empty()) return std::move(out_);
            TakeTag();
        }
    }

private:
    void TakeTag() {
        const char next = rest_.size() > 1 ? rest_[1] : ' ';
        if (rest_.starts_with("<!--")) return SkipPast("-->");
        if (!IsLetter(next) && next != '/' && next != '!' && next != '?') {
            out_ += "&lt;";  // so that what follows makes no tag of it
            return rest_.remove_prefix(1);
        }
        const bool isEnd = next == '/';
        const std::string_view name = GetName(rest_.substr(isEnd ? 2 : 1));
        if (IsOneOf(kBlocks, name)) out_ += "<br>";
        if (!isEnd && EqualsCaseless(name, "script")) SkipTo("</script");
        if (!isEnd && EqualsCaseless(name, "style")) SkipTo("</style");
        SkipPast(">");
    }

    void SkipPast(std::string_view mark) noexcept {
        const size_t at = rest_.find(mark);
        rest_.remove_prefix(at == std::string_view::npos ? rest_.size() : at + mark.size());
    }

    void SkipTo(std::string_view endTag) noexcept {
        do {
            rest_.remove_prefix(std::min(rest_.size(), rest_.find('<', 1)));
        } while (!rest_.empty() && !StartsWithCaseless(rest_, endTag));
    }

    static constexpr std::array<std::string_view, 15> kBlocks = {
        "br", "p",  "div", "tr", "li", "ul",  "ol",        "table",
        "h1", "h2", "h3",  "h4", "hr", "pre", "blockquote"};

    std::string_view rest_;
    std::string out_;
};

}  // namespace

std::string_view RenameTags(std::string_view html, std::string& storage) {
    constexpr char kOther = 'x';
    Renamer renamer;
    for (size_t at = html.find('<'); at != std::string_view::npos; at = html.find('<', at + 1)) {
        if (!renamer.Wants(GetName(html.substr(at + 1)))) continue;
        if (storage.empty()) storage = html;
        storage[at + 1] = kOther;
    }
    return storage.empty() ? html : storage;
}

std::string RemoveTags(std::string_view html) {
    return TagRemover(html).Run();
}

}  // namespace MIME
