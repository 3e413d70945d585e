#include <algorithm>
#include <charconv>
#include <new>
#include <optional>
#include <vector>

#include "kivgui/ascii.h"
#include "kivgui/utf8.h"
#include "mime/html.h"
#include "mime/html/html_source.h"
#include "mime/html/html_style.h"
#include "mime/html/html_tree.h"
#include "mime/html/text_layout.h"

// A walk over the tree of the document, in order, with a stack of the elements that are open. Each has
// an effect when it begins (Enter) and when it ends (Leave); TextLayout writes the lines.
//
// The cells of a row are lines first. When the row ends, and all of them are one short line, these
// lines are joined.

namespace MIME {

namespace {

using Space = TextLayout::Space;

/// An element that is open.
struct Open {
    Open(const GumboNode& element, Display how, Space spaces) noexcept
        : node(&element), display(how), space(spaces) {}

    const GumboNode* node;
    Display display;
    Space space;
    unsigned nextChild = 0;
    size_t indent = 0;               ///< length of what the element adds to the prefix
    size_t begin = 0;                ///< of a link: offset of its lines
    std::string target;              ///< of a link
    size_t outerCell = 0;            ///< for TextLayout::EndCell
    std::vector<size_t> cellStarts;  ///< of a row: offsets of the text, kNoText for an empty cell
    std::vector<size_t> cellEnds;
    long number = 0;  ///< of the next item of an ordered list
};

const GumboVector* GetChildren(const GumboNode& node) noexcept {
    const bool isElement = node.type == GUMBO_NODE_ELEMENT || node.type == GUMBO_NODE_TEMPLATE;
    return isElement ? &node.v.element.children : nullptr;
}

bool IsList(GumboTag tag) noexcept {
    return tag == GUMBO_TAG_UL || tag == GUMBO_TAG_OL || tag == GUMBO_TAG_DIR ||
           tag == GUMBO_TAG_MENU || tag == GUMBO_TAG_DL;
}

/// The number in an attribute; `otherwise` when it has none of up to 6 digits.
long ReadNumber(std::string_view text, long otherwise) noexcept {
    constexpr long kMost = 999'999;
    text = KivGuiBase::TrimSpace(text);
    long number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() && number >= -kMost && number <= kMost ? number : otherwise;
}

class Renderer {
public:
    std::string Render(const GumboNode& root) {
        Enter(root);
        while (!open_.empty()) {
            Open& top = open_.back();
            const GumboVector* children = GetChildren(*top.node);
            if (top.nextChild == children->length) {
                Leave();
            } else {
                Visit(*static_cast<const GumboNode*>(children->data[top.nextChild++]));
            }
        }
        return std::move(layout_).Finish();
    }

private:
    void Visit(const GumboNode& node) {
        switch (node.type) {
            case GUMBO_NODE_TEXT:
            case GUMBO_NODE_WHITESPACE:
            case GUMBO_NODE_CDATA:
                layout_.AppendText(node.v.text.text, open_.back().space);
                break;
            case GUMBO_NODE_ELEMENT:
                Enter(node);
                break;
            default:
                break;
        }
    }

    // ------------------------------------------------------------------------- elements begin --

    void Enter(const GumboNode& node) {
        const GumboElement& element = node.v.element;
        const Display display = GetDisplay(element);
        if (display == Display::none) return;
        const Space outer = open_.empty() ? Space::collapsed : open_.back().space;
        Open open(node, display, GetSpace(element, outer));
        Break(display, element.tag);
        Begin(element, open);
        open_.push_back(std::move(open));
        if (IsList(element.tag)) ++lists_;
    }

    /// Begins or ends the line of a block. A list in a list is no paragraph.
    void Break(Display display, GumboTag tag) {
        if (display == Display::line) return;
        if (display == Display::paragraph && !(IsList(tag) && lists_ > 0)) {
            layout_.BreakParagraph();
        } else {
            layout_.BreakLine();
        }
    }

    void Begin(const GumboElement& element, Open& open) {
        switch (element.tag) {
            case GUMBO_TAG_BR:
                return layout_.EndLine();
            case GUMBO_TAG_HR:
                return layout_.AppendText("---");
            case GUMBO_TAG_IMG:
                return AppendImage(GetAttribute(element, "alt"));
            case GUMBO_TAG_Q:
                return layout_.AppendText("\"");
            case GUMBO_TAG_A:
                open.target = GetTarget(element);
                open.begin = layout_.GetLines().size();
                return;
            case GUMBO_TAG_OL:
                open.number = ReadNumber(GetAttribute(element, "start"), 1);
                return;
            case GUMBO_TAG_LI:
                return BeginItem(element, open);
            case GUMBO_TAG_DD:
                return Indent("  ", "  ", open);
            case GUMBO_TAG_BLOCKQUOTE:
                return Indent("> ", "> ", open);
            case GUMBO_TAG_TABLE:
                return tables_.push_back({});
            case GUMBO_TAG_TH:
                if (!tables_.empty()) tables_.back().hasHeaderCells = true;
                [[fallthrough]];
            case GUMBO_TAG_TD:
                open.outerCell = layout_.BeginCell();
                return;
            default:
                return;
        }
    }

    /// Pictures that touch each other are words of their own.
    void AppendImage(std::string_view text) {
        if (text.empty()) return;
        layout_.AppendText(" ");
        layout_.AppendText(text);
        layout_.AppendText(" ");
    }

    void BeginItem(const GumboElement& element, Open& open) {
        std::string mark = "- ";
        if (!open_.empty() && open_.back().node->v.element.tag == GUMBO_TAG_OL) {
            long& number = open_.back().number;
            number = ReadNumber(GetAttribute(element, "value"), number);
            mark = std::to_string(number++) + ". ";
        }
        Indent(std::string(mark.size(), ' '), mark, open);
    }

    /// Deep levels are not shown: each costs some characters in all lines below it.
    void Indent(std::string_view prefix, std::string_view first, Open& open) {
        constexpr size_t kMostLevels = 24;
        if (++indents_ > kMostLevels) return;
        layout_.Indent(prefix, first);
        open.indent = prefix.size();
    }

    // --------------------------------------------------------------------------- elements end --

    void Leave() {
        Open open = std::move(open_.back());
        open_.pop_back();
        const GumboTag tag = open.node->v.element.tag;
        if (IsList(tag)) --lists_;
        switch (tag) {
            case GUMBO_TAG_A:
                EndLink(open);
                break;
            case GUMBO_TAG_Q:
                layout_.AppendText("\"");
                break;
            case GUMBO_TAG_TD:
            case GUMBO_TAG_TH:
                EndCell(open);
                break;
            case GUMBO_TAG_TR:
                EndRow(open);
                break;
            case GUMBO_TAG_TABLE:
                tables_.pop_back();
                break;
            case GUMBO_TAG_LI:
            case GUMBO_TAG_DD:
            case GUMBO_TAG_BLOCKQUOTE:
                --indents_;
                break;
            default:
                break;
        }
        Break(open.display, tag);
        layout_.Unindent(open.indent);
    }

    void EndLink(const Open& link) {
        const std::string& lines = layout_.GetLines();
        if (link.target.empty() || link.begin >= lines.size() || link.target == lastTarget_) return;
        // Longer texts are not compared, so that the work is linear also for links in links.
        constexpr size_t kMostAround = 100;
        std::string_view text = std::string_view(lines).substr(link.begin);
        const bool canBeTarget = text.size() <= link.target.size() + kMostAround;
        lastTarget_ = link.target;
        text.remove_prefix(std::min(text.find_first_not_of("\n >"), text.size()));
        if (canBeTarget && SaysTarget(text, link.target)) return;
        layout_.AppendNote(" <" + link.target + ">");
    }

    void EndCell(const Open& cell) {
        const size_t begin = layout_.EndCell(cell.outerCell);
        if (open_.empty()) return;
        open_.back().cellStarts.push_back(begin);
        open_.back().cellEnds.push_back(layout_.GetLines().size());
    }

    void EndRow(const Open& row) {
        const auto hasText = [](size_t start) { return start != TextLayout::kNoText; };
        const auto first = std::find_if(row.cellStarts.begin(), row.cellStarts.end(), hasText);
        if (first == row.cellStarts.end()) return;
        const std::optional<std::string> joined = JoinCells(row);
        if (joined) layout_.Replace(*first, *joined);
    }

    /// The cells of a row as one line; nothing when they must stay lines of their own.
    std::optional<std::string> JoinCells(const Open& row) const {
        constexpr size_t kMostInCell = 160;
        constexpr std::string_view kSeparator = " | ";
        const bool keepsEmpty = !tables_.empty() && tables_.back().hasHeaderCells;
        std::string joined;
        std::string_view separator;
        for (size_t i = 0; i < row.cellStarts.size(); ++i) {
            const size_t begin = std::min(row.cellStarts[i], row.cellEnds[i]);
            const std::string_view cell =
                std::string_view(layout_.GetLines()).substr(begin, row.cellEnds[i] - begin);
            if (cell.size() > kMostInCell || cell.find('\n') != std::string_view::npos) return {};
            if (cell.empty() && !keepsEmpty) continue;
            joined.append(separator).append(cell);
            separator = kSeparator;
        }
        joined.resize(joined.find_last_not_of(' ') + 1);
        return joined;
    }

    struct Table {
        bool hasHeaderCells = false;
    };

    TextLayout layout_;
    std::vector<Open> open_;
    std::vector<Table> tables_;  ///< that are open
    size_t lists_ = 0;           ///< that are open
    size_t indents_ = 0;         ///< elements with an indent that are open
    std::string lastTarget_;
};

}  // namespace

std::string HtmlToText(std::string_view html) {
    constexpr size_t kMost = size_t{1} << 30;
    if (html.size() > kMost) throw std::bad_alloc();
    html = KivGuiBase::SkipByteOrderMark(html);
    std::string storage;
    const HtmlTree tree(RenameTags(html, storage));
    if (tree.GetRoot() != nullptr) return Renderer().Render(*tree.GetRoot());
    const std::string lines = RemoveTags(html);
    const HtmlTree simple(lines);
    if (simple.GetRoot() == nullptr) throw std::bad_alloc();
    return Renderer().Render(*simple.GetRoot());
}

}  // namespace MIME
