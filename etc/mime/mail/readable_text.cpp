// The text of a message for people to read.
//
// Two passes over the entities, each linear. The first, from the last entity to the first, so that all
// inside an entity is known already, finds whether an entity has plain text that is not blank, or HTML, and
// chooses where one child stands for all: of alternatives the last that has what is wanted (RFC 2046,
// 5.1.4: all mean the same), of related entities the root. The second takes what is left, in order.

#include <algorithm>

#include "kivgui/ascii.h"
#include "mime/decoding.h"
#include "mime/mail.h"
#include "mime/mail/message_tree.h"
#include "mime/mail/whole.h"

namespace MIME {

using KivGuiBase::EqualsCaseless;

enum class TextKind { none, html, plain };

/// Which entities are the text of a message.
class TextChoice {
public:
    /// @param wanted  html for a message whose plain text does not count.
    TextChoice(const MessageTree& tree, TextKind wanted)
        : tree_(tree), wanted_(wanted), kinds_(tree.places.size(), TextKind::none) {
        for (size_t i = kinds_.size(); i-- > 0;) Weigh(static_cast<uint32_t>(i));
    }

    /// Gives the chosen bodies, in order, each with its kind.
    template <class Visitor>
    void Visit(Visitor visit) const {
        for (uint32_t i = 0; i < kinds_.size();) {
            const bool isWanted = kinds_[i] != TextKind::none;
            if (isWanted && !tree_.HasChildren(i)) visit(Entity(tree_, i), kinds_[i]);
            i = isWanted ? i + 1 : tree_.places[i].subtreeEnd;
        }
    }

private:
    TextKind GetKindOfLeaf(const Entity& entity) const {
        if (entity.IsAttachment()) return TextKind::none;
        const std::string type = entity.GetMediaType();
        if (type == "text/html") return TextKind::html;
        const bool isPlain = type == "text/plain" || type == "text";
        if (!isPlain || wanted_ == TextKind::html || IsBlank(entity)) return TextKind::none;
        return TextKind::plain;
    }

    /// Has the body no visible character? Some programs make the plain form of HTML of spaces, which
    /// are 0xA0 or, in UTF-8, 0xC2 0xA0 when they do not break.
    static bool IsBlank(const Entity& entity) {
        const Result<void> passed = entity.DecodeTo([](std::string_view piece) {
            return std::all_of(piece.begin(), piece.end(), [](char c) {
                return KivGuiBase::IsSpaceAscii(c) || c == '\xA0' || c == '\xC2';
            });
        });
        return static_cast<bool>(passed);
    }

    void Weigh(uint32_t index) {
        const Entity entity(tree_, index);
        if (!entity.HasChildren()) {
            kinds_[index] = GetKindOfLeaf(entity);
        } else if (entity.CarriesMessage()) {
            kinds_[index] = TextKind::none;
        } else if (entity.IsType("multipart/alternative")) {
            Keep(entity, ChooseAlternative(entity));
        } else if (entity.IsType("multipart/related")) {
            Keep(entity, entity.GetRoot().index_);
        } else {
            for (const Entity& child : entity.GetChildren()) {
                kinds_[index] = std::max(kinds_[index], kinds_[child.index_]);
            }
        }
    }

    uint32_t ChooseAlternative(const Entity& entity) const {
        uint32_t chosen = entity.index_ + 1;
        for (const Entity& child : entity.GetChildren()) {
            if (kinds_[child.index_] >= kinds_[chosen]) chosen = child.index_;
        }
        return chosen;
    }

    /// The entity is what this child is; its other children are passed over.
    void Keep(const Entity& entity, uint32_t chosen) {
        for (const Entity& child : entity.GetChildren()) {
            if (child.index_ != chosen) kinds_[child.index_] = TextKind::none;
        }
        kinds_[entity.index_] = kinds_[chosen];
    }

    const MessageTree& tree_;
    TextKind wanted_;
    std::vector<TextKind> kinds_;  ///< of each entity: the best of what is inside; none: not taken
};

namespace {

std::string JoinFlowed(const Entity& entity, const std::string& text) {
    if (!EqualsCaseless(entity.GetParameter("Content-Type", "format"), "flowed")) return text;
    const bool deletesSpace = EqualsCaseless(entity.GetParameter("Content-Type", "delsp"), "yes");
    return Whole([&] {
        return std::string(std::string_view(
            Decoding::FlowedToParagraphs(AnsiStr(std::string_view(text)), deletesSpace)));
    });
}

/// Appends with LF line ends, on lines of its own.
void AppendLines(std::string_view text, std::string& out) {
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
        out += text[i];
    }
    if (!out.empty() && !out.ends_with('\n')) out += '\n';
}

}  // namespace

std::string Mail::GetText(HtmlConverter toText) const {
    std::string text;
    TextChoice(*tree_, TextKind::plain).Visit([&](const Entity& entity, TextKind kind) {
        if (kind == TextKind::plain) {
            AppendLines(JoinFlowed(entity, entity.GetText()), text);
        } else {
            AppendLines(toText != nullptr ? toText(entity.GetText()) : entity.GetText(), text);
        }
    });
    return text;
}

std::string Mail::GetHtml() const {
    std::string html;
    TextChoice(*tree_, TextKind::html).Visit([&](const Entity& entity, TextKind /*kind*/) {
        html += entity.GetText();
    });
    return html;
}

}  // namespace MIME
