#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "entity_list.h"
#include "escape.h"
#include "html_text.h"
#include "kivgui/ascii.h"
#include "kivgui/memory_file.h"
#include "output.h"

// "text": walks the entities in the order of the message. Choice says beforehand, in two passes over
// the list, which of them to show; the bodies are then decoded, converted to UTF-8 and escaped one
// by one, so only one is in memory.

namespace Tool {

using KivGuiBase::EqualsCaseless;
using MIME::AnsiStr;

namespace {

bool IsOfType(const Entity& entity, const char* type) {
    return entity.IsLeaf() && EqualsCaseless(entity.part->info.contentType.GetStr(), type);
}

/// "text" alone is what some programs of the 1990s sent.
bool IsPlain(const Entity& entity) {
    return IsOfType(entity, "text/plain") || IsOfType(entity, "text");
}

bool IsHtml(const Entity& entity) {
    return IsOfType(entity, "text/html");
}

bool IsAttachment(const Entity& entity) {
    const MIME::HeaderMap::Node* field = entity.part->headers.Find("Content-Disposition");
    return field != nullptr && EqualsCaseless(field->value.value, "attachment");
}

bool IsReadable(const Entity& entity) {
    return (IsPlain(entity) || IsHtml(entity)) && !IsAttachment(entity);
}

/// What to do with an entity that has a body.
enum class Use {
    show,
    name,      ///< print one line that names it
    passOver,  ///< another form of what is shown
};

/// Chooses among alternatives: the last that has plain text, else the last that has HTML
/// (RFC 2046, 5.1.4, for readers of plain text). Takes time linear in the number of entities.
class Choice {
public:
    explicit Choice(const std::vector<Entity>& entities)
        : entities_(entities), nodes_(entities.size()) {
        for (size_t i = entities.size(); i-- > 0;) NoteForParent(i);
        for (size_t i = 1; i < entities.size(); ++i) {
            const size_t parent = entities[i].parent;
            const Node& above = nodes_[parent];
            const bool isOther =
                IsAlternative(parent) && above.chosen != kNone && above.chosen != i;
            nodes_[i].isPassedOver = isOther || above.isPassedOver;
        }
    }

    Use operator[](size_t place) const {
        const Entity& entity = entities_[place];
        if (IsAttachment(entity)) return Use::name;
        if (nodes_[place].isPassedOver) return Use::passOver;
        return IsReadable(entity) ? Use::show : Use::name;
    }

private:
    static constexpr size_t kNone = Entity::kNoParent;

    struct Node {
        bool hasPlain = false;  ///< the entity, or something below it
        bool hasHtml = false;
        size_t chosen = kNone;  ///< of the children
        bool isPassedOver = false;
    };

    bool IsAlternative(size_t place) const {
        const AnsiStr type = entities_[place].part->info.contentType.GetStr();
        return EqualsCaseless(type, "multipart/alternative");
    }

    /// Called for the last entity first, so that everything below an entity is known already.
    void NoteForParent(size_t place) {
        Node& node = nodes_[place];
        if (IsReadable(entities_[place])) {
            node.hasPlain |= IsPlain(entities_[place]);
            node.hasHtml |= IsHtml(entities_[place]);
        }
        if (place == 0) return;
        Node& parent = nodes_[entities_[place].parent];
        const bool isBetter = parent.hasHtml ? node.hasPlain : node.hasPlain || node.hasHtml;
        if (!parent.hasPlain && isBetter) parent.chosen = place;
        parent.hasPlain |= node.hasPlain;
        parent.hasHtml |= node.hasHtml;
    }

    const std::vector<Entity>& entities_;
    std::vector<Node> nodes_;
};

/// Prints a line that says what is not shown. @param why  may be empty
void PrintNote(const Entity& entity, const std::string& why) {
    const AnsiStr type = entity.part->info.contentType.GetStr();
    std::string line = "[";
    line += entity.index + ": " + Escape(std::string_view(type));
    const AnsiStr name = GetFileName(*entity.part);
    if (!name.IsEmpty()) line += ", \"" + Escape(name, '"') + "\"";
    line += ", " + std::to_string(entity.part->data.file.GetSize()) + " bytes";
    if (!why.empty()) line += ": " + Escape(why);
    Print(line + "]\n");
}

std::string MakeMessageHead(const MIME::Part& message) {
    std::string lines;
    for (const char* name : {"From", "To", "Date", "Subject"}) {
        const MIME::HeaderMap::Node* field = message.headers.Find(name);
        if (field == nullptr || field->value.value.IsEmpty()) continue;
        lines += std::string(name) + ": " + Escape(field->value.value) + "\n";
    }
    return lines;
}

/// Converts a body to UTF-8. Text that is labelled ASCII, or not at all, is often UTF-8.
MIME::Decoding::TextResult Convert(std::string_view body, const AnsiStr& charset) {
    using MIME::Decoding;
    const auto size = static_cast<unsigned>(body.size());
    Decoding::TextResult result = Decoding::ToUtf8(body.data(), size, charset);
    if (result.replaced == 0) return result;
    if (!charset.IsEmpty() && !EqualsCaseless(charset, "us-ascii")) return result;
    Decoding::TextResult guess = Decoding::ToUtf8(body.data(), size, "utf-8");
    return guess.replaced == 0 ? guess : result;
}

std::string MakeReadable(const Entity& entity, const AnsiStr& text) {
    if (IsHtml(entity)) return StripHtml(text);
    const MIME::HeaderMap& headers = entity.part->headers;
    if (!EqualsCaseless(headers.GetParameter("Content-Type", "format"), "flowed")) {
        return ToString(text);
    }
    const AnsiStr delSp = headers.GetParameter("Content-Type", "delsp");
    return ToString(MIME::Decoding::FlowedToParagraphs(text, EqualsCaseless(delSp, "yes")));
}

void PrintBody(const Entity& entity) {
    KivGuiBase::MemoryFile view;
    const KivGuiBase::File& file = entity.part->data.file;
    if (!view.Open(file, KivGuiBase::MemoryFile::Mode::read)) {
        throw Failure(ToString(file.GetPath()), GetLastReason());
    }
    if (view.GetSize() == 0) return;
    if (view.GetSize() > AnsiStr::kMaxLength) return PrintNote(entity, "too long to show");
    const AnsiStr charset = entity.part->headers.GetParameter("Content-Type", "charset");
    const MIME::Decoding::TextResult result =
        Convert({view.GetData(), static_cast<size_t>(view.GetSize())}, charset);
    if (!result.known) {
        return PrintNote(entity, "unknown character set \"" + ToString(charset) + "\"");
    }
    if (result.text.IsEmpty()) return PrintNote(entity, "too long to show");
    std::string text = EscapeLines(MakeReadable(entity, result.text));
    if (!text.ends_with('\n')) text += '\n';
    Print(text);
}

class Printer {
public:
    void PrintEntity(const std::vector<Entity>& entities, size_t place, Use use) {
        const Entity& entity = entities[place];
        std::string head;
        if (place == 0) {
            head = MakeMessageHead(*entity.part);
        } else if (entities[entity.parent].part->info.isMessage) {
            head = "[";
            head += entity.index + ": a message]\n" + MakeMessageHead(*entity.part);
        }
        if (!head.empty()) Separate();
        Print(head);
        if (!entity.IsLeaf() || use == Use::passOver) return;
        Separate();
        if (use == Use::show) {
            PrintBody(entity);
        } else {
            PrintNote(entity, "");
        }
    }

private:
    /// Prints an empty line between different entities.
    void Separate() {
        if (hasPrinted_) Print("\n");
        hasPrinted_ = true;
    }

    bool hasPrinted_ = false;
};

}  // namespace

int PrintText(const TextOptions& options) {
    const WorkFolder folder;
    const std::unique_ptr<MIME::Part> message = ReadMessage(options.source, folder);
    const std::vector<Entity> entities = ListEntities(*message);
    const Choice choice(entities);
    Printer printer;
    for (size_t i = 0; i < entities.size(); ++i) printer.PrintEntity(entities, i, choice[i]);
    FinishOutput();
    return 0;
}

}  // namespace Tool
