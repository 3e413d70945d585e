// The text of a message for people to read.
//
// Two passes over the entities, each linear. The first, from the last entity to the first, so that all
// inside an entity is known already, finds whether an entity has plain text that is not blank, or HTML, and
// chooses where one child stands for all: of alternatives the last that has what is wanted (RFC 2046,
// 5.1.4: all mean the same), of related entities the root. The second takes what is left, in order. A
// carried message is looked at when it is the message that was asked for.

#include <algorithm>
#include <utility>

#include "kivgui/ascii.h"
#include "mime/decoding.h"
#include "mime/encoding/uuencode.h"
#include "mime/mail/mail.h"
#include "mime/mail/message_tree.h"
#include "mime/mail/whole.h"

namespace MIME {

using KivGuiBase::EqualsCaseless;

enum class TextKind { none, html, plain };

/// Which entities are the text of a message.
class TextChoice {
public:
    /// @param top     of the message.
    /// @param wanted  html for a message whose plain text does not count.
    TextChoice(const MessageTree& tree, uint32_t top, TextKind wanted)
        : tree_(tree), top_(top), wanted_(wanted) {
        kinds_.resize(tree.GetPlace(top).subtreeEnd - top, TextKind::none);
        std::vector<uint32_t> own;  // without those of carried messages
        for (uint32_t i = top; i < tree.GetPlace(top).subtreeEnd;) {
            own.push_back(i);
            i = tree.GetPlace(i).isMessage ? tree.GetPlace(i).subtreeEnd : i + 1;
        }
        std::for_each(own.rbegin(), own.rend(), [this](uint32_t i) { Weigh(i); });
    }

    /// The chosen bodies, in order.
    std::vector<Entity> GetChosen() const {
        std::vector<Entity> chosen;
        for (uint32_t i = top_; i < tree_.GetPlace(top_).subtreeEnd;) {
            const bool isWanted = GetKind(i) != TextKind::none;
            if (isWanted && !tree_.HasChildren(i)) chosen.push_back(Entity(tree_, i));
            i = isWanted ? i + 1 : tree_.GetPlace(i).subtreeEnd;
        }
        return chosen;
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

    TextKind& GetKind(uint32_t index) { return kinds_[index - top_]; }
    TextKind GetKind(uint32_t index) const { return kinds_[index - top_]; }

    void Weigh(uint32_t index) {
        const Entity entity(tree_, index);
        if (!entity.HasChildren()) {
            GetKind(index) = GetKindOfLeaf(entity);
        } else if (entity.CarriesMessage()) {
            GetKind(index) = TextKind::none;
        } else if (entity.IsType("multipart/alternative")) {
            Keep(entity, ChooseAlternative(entity));
        } else if (entity.IsType("multipart/related")) {
            Keep(entity, entity.GetRoot().index_);
        } else {
            for (const Entity& child : entity.GetChildren()) {
                GetKind(index) = std::max(GetKind(index), GetKind(child.index_));
            }
        }
    }

    uint32_t ChooseAlternative(const Entity& entity) const {
        // What is plain text and nothing else is whole; a multipart may have other text beside it.
        const auto weigh = [this](uint32_t index) {
            return std::pair(GetKind(index), !tree_.HasChildren(index));
        };
        uint32_t chosen = entity.index_ + 1;
        for (const Entity& child : entity.GetChildren()) {
            if (weigh(child.index_) >= weigh(chosen)) chosen = child.index_;
        }
        return chosen;
    }

    /// The entity is what this child is; its other children are passed over.
    void Keep(const Entity& entity, uint32_t chosen) {
        for (const Entity& child : entity.GetChildren()) {
            if (child.index_ != chosen) GetKind(child.index_) = TextKind::none;
        }
        GetKind(entity.index_) = GetKind(chosen);
    }

    const MessageTree& tree_;
    uint32_t top_;
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

/// With LF line ends, and one at the end.
std::string MakeLines(std::string_view text) {
    std::string lines;
    lines.reserve(text.size() + 1);
    for (size_t end; (end = text.find("\r\n")) != text.npos; text.remove_prefix(end + 1)) {
        lines += text.substr(0, end);
    }
    lines += text;
    if (!lines.empty() && !lines.ends_with('\n')) lines += '\n';
    return lines;
}

}  // namespace

std::vector<Entity> Entity::GetTextEntities() const {
    return TextChoice(*tree_, index_, TextKind::plain).GetChosen();
}

/// The decoded body without the lines of the uuencoded files in it.
std::string Entity::DecodeWithoutFiles() const {
    std::string body = Decode();
    if (!tree_->HasText(index_)) return body;
    const std::vector<UuBlock> blocks = FindUuencodedFiles(body, UuencodedFiles::kMost);
    if (blocks.empty()) return body;
    std::string text;
    size_t end = 0;
    const size_t count = std::min(blocks.size(), GetUuencodedFiles().size());
    for (size_t i = 0; i < count; ++i) {
        text.append(body, end, blocks[i].begin - end);
        end = blocks[i].end;
    }
    return text.append(body, end);
}

std::string Entity::GetReadableText(HtmlConverter toText) const {
    const std::string text = DecodeText(DecodeWithoutFiles(), GetCharset(), tree_->charset).text;
    if (!IsType("text/html")) return MakeLines(JoinFlowed(*this, text));
    return MakeLines(toText != nullptr ? toText(text) : text);
}

std::string Mail::GetText(HtmlConverter toText) const {
    std::string text;
    for (const Entity& entity : GetTop().GetTextEntities()) text += entity.GetReadableText(toText);
    return text;
}

std::string Mail::GetHtml() const {
    std::string html;
    for (const Entity& entity : TextChoice(*tree_, 0, TextKind::html).GetChosen()) {
        html += entity.GetText();
    }
    return html;
}

}  // namespace MIME
