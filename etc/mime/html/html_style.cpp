#include "mime/html/html_style.h"

#include <algorithm>

#include "kivgui/ascii.h"
#include "kivgui/hex.h"

namespace MIME {

namespace {

using KivGuiBase::IsAscii;
using KivGuiBase::IsSpaceAscii;
using KivGuiBase::StartsWithCaseless;
using KivGuiBase::ToLowerAscii;

bool IsIgnored(GumboTag tag) noexcept {
    switch (tag) {
        case GUMBO_TAG_SCRIPT:
        case GUMBO_TAG_STYLE:
        case GUMBO_TAG_HEAD:
        case GUMBO_TAG_TITLE:
        case GUMBO_TAG_TEMPLATE:
        case GUMBO_TAG_NOSCRIPT:
        case GUMBO_TAG_NOFRAMES:
        case GUMBO_TAG_NOEMBED:
        case GUMBO_TAG_IFRAME:
        case GUMBO_TAG_SELECT:
        case GUMBO_TAG_DATALIST:
            return true;
        default:
            return false;
    }
}

bool IsParagraph(GumboTag tag) noexcept {
    switch (tag) {
        case GUMBO_TAG_P:
        case GUMBO_TAG_BLOCKQUOTE:
        case GUMBO_TAG_PRE:
        case GUMBO_TAG_LISTING:
        case GUMBO_TAG_XMP:
        case GUMBO_TAG_PLAINTEXT:
        case GUMBO_TAG_H1:
        case GUMBO_TAG_H2:
        case GUMBO_TAG_H3:
        case GUMBO_TAG_H4:
        case GUMBO_TAG_H5:
        case GUMBO_TAG_H6:
        case GUMBO_TAG_UL:
        case GUMBO_TAG_OL:
        case GUMBO_TAG_DL:
        case GUMBO_TAG_DIR:
        case GUMBO_TAG_MENU:
        case GUMBO_TAG_FIGURE:
        case GUMBO_TAG_FIELDSET:
            return true;
        default:
            return false;
    }
}

bool IsBlock(GumboTag tag) noexcept {
    switch (tag) {
        case GUMBO_TAG_HTML:
        case GUMBO_TAG_BODY:
        case GUMBO_TAG_DIV:
        case GUMBO_TAG_CENTER:
        case GUMBO_TAG_ADDRESS:
        case GUMBO_TAG_SECTION:
        case GUMBO_TAG_ARTICLE:
        case GUMBO_TAG_ASIDE:
        case GUMBO_TAG_HEADER:
        case GUMBO_TAG_FOOTER:
        case GUMBO_TAG_HGROUP:
        case GUMBO_TAG_MAIN:
        case GUMBO_TAG_NAV:
        case GUMBO_TAG_DETAILS:
        case GUMBO_TAG_SUMMARY:
        case GUMBO_TAG_FIGCAPTION:
        case GUMBO_TAG_FORM:
        case GUMBO_TAG_LEGEND:
        case GUMBO_TAG_LI:
        case GUMBO_TAG_DT:
        case GUMBO_TAG_DD:
        case GUMBO_TAG_HR:
        case GUMBO_TAG_TABLE:
        case GUMBO_TAG_CAPTION:
        case GUMBO_TAG_THEAD:
        case GUMBO_TAG_TBODY:
        case GUMBO_TAG_TFOOT:
        case GUMBO_TAG_TR:
            return true;
        default:
            return false;
    }
}

bool HasAttribute(const GumboElement& element, const char* name) noexcept {
    return gumbo_get_attribute(&element.attributes, name) != nullptr;
}

/// The declarations of a style in lower case and without white space.
std::string GetStyle(const GumboElement& element) {
    std::string style;
    for (const char c : GetAttribute(element, "style")) {
        if (!IsSpaceAscii(c)) style += ToLowerAscii(c);
    }
    return style;
}

/// The value of a property, the last one if there are several.
std::string_view FindProperty(std::string_view style, std::string_view name) noexcept {
    std::string_view value;
    while (!style.empty()) {
        const std::string_view declaration = style.substr(0, style.find(';'));
        style.remove_prefix(std::min(style.size(), declaration.size() + 1));
        if (!declaration.starts_with(name) || declaration.size() == name.size()) continue;
        if (declaration[name.size()] == ':') value = declaration.substr(name.size() + 1);
    }
    return value.substr(0, value.find('!'));  // "!important"
}

/// The part of a URL that people write.
std::string_view TrimTarget(std::string_view url) noexcept {
    for (const std::string_view prefix : {"http://", "https://", "mailto:", "tel:", "www."}) {
        if (StartsWithCaseless(url, prefix)) url.remove_prefix(prefix.size());
    }
    while (url.ends_with('/')) url.remove_suffix(1);
    return url;
}

}  // namespace

std::string_view GetAttribute(const GumboElement& element, const char* name) noexcept {
    const GumboAttribute* found = gumbo_get_attribute(&element.attributes, name);
    return found != nullptr ? std::string_view(found->value) : std::string_view();
}

Display GetDisplay(const GumboElement& element) {
    if (IsIgnored(element.tag) || HasAttribute(element, "hidden")) return Display::none;
    if (FindProperty(GetStyle(element), "display") == "none") return Display::none;
    if (IsParagraph(element.tag)) return Display::paragraph;
    return IsBlock(element.tag) ? Display::block : Display::line;
}

TextLayout::Space GetSpace(const GumboElement& element, TextLayout::Space outer) {
    const std::string style = GetStyle(element);
    const std::string_view value = FindProperty(style, "white-space");
    if (value.starts_with("pre") || value == "break-spaces") return TextLayout::Space::kept;
    if (value == "normal" || value == "nowrap") return TextLayout::Space::collapsed;
    switch (element.tag) {
        case GUMBO_TAG_PRE:
        case GUMBO_TAG_LISTING:
        case GUMBO_TAG_XMP:
        case GUMBO_TAG_PLAINTEXT:
        case GUMBO_TAG_TEXTAREA:
            return TextLayout::Space::kept;
        case GUMBO_TAG_TABLE:
            return TextLayout::Space::collapsed;
        default:
            return outer;
    }
}

std::string GetTarget(const GumboElement& element) {
    std::string target;
    if (element.tag != GUMBO_TAG_A) return target;
    for (const char c : KivGuiBase::TrimSpace(GetAttribute(element, "href"))) {
        if (c == ' ') {
            target += "%20";
        } else if (IsAscii(c) && c > ' ' && c != '\x7F') {
            target += c;
        } else if (!IsAscii(c)) {
            char escape[KivGuiBase::kHexEscapeLength];
            KivGuiBase::WriteHexEscape('%', c, escape);
            target.append(escape, sizeof escape);
        }
    }
    for (const std::string_view nowhere : {"#", "javascript:", "vbscript:", "data:"}) {
        if (StartsWithCaseless(target, nowhere)) target.clear();
    }
    return target;
}

bool SaysTarget(std::string_view text, std::string_view target) noexcept {
    constexpr std::string_view kAround = " <>";
    text.remove_prefix(std::min(text.find_first_not_of(kAround), text.size()));
    text = text.substr(0, text.find_last_not_of(kAround) + 1);
    return KivGuiBase::EqualsCaseless(TrimTarget(text), TrimTarget(target));
}

}  // namespace MIME
