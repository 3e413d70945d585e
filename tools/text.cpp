#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "entity_list.h"
#include "escape.h"
#include "failure.h"
#include "html_text.h"
#include "output.h"

namespace Tool {

using MIME::AnsiStr;

namespace {

bool EqualsCaseless(const AnsiStr& a, const char* b) {
    return AnsiStr::Compare(a.GetStr(), b, true) == 0;
}

AnsiStr GetParameter(const MIME::Part& part, const char* field, const char* name) {
    const MIME::HeaderMap::Node* found = part.headers.Find(field);
    const MIME::ParameterMap::Node* parameter =
        found != nullptr ? found->value.parameters.Find(name) : nullptr;
    return parameter != nullptr ? parameter->value.value : AnsiStr();
}

bool IsOfType(const Entity& entity, const char* type) {
    return entity.IsLeaf() && EqualsCaseless(entity.part->info.contentType.GetStr(), type);
}

/// "text" alone is what some programs of the nineties send.
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

/// What is to be done with an entity that has a body.
enum class Use {
    show,
    name,      ///< one line says that it is there
    passOver,  ///< another form of what is shown
};

/// Chooses among the alternatives: the last that has plain text, else the last that has HTML
/// (RFC 2046, 5.1.4, for readers of plain text). Linear in the number of entities.
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
        bool hasPlain = false;  ///< it, or something below it
        bool hasHtml = false;
        size_t chosen = kNone;  ///< of the children
        bool isPassedOver = false;
    };

    bool IsAlternative(size_t place) const {
        const AnsiStr type = entities_[place].part->info.contentType.GetStr();
        return EqualsCaseless(type, "multipart/alternative");
    }

    /// Called for the last entity first, so that what is below an entity is known.
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

/// A line that says what is not shown. @param why  may be empty
void PrintNote(const Entity& entity, const std::string& why) {
    const AnsiStr type = entity.part->info.contentType.GetStr();
    std::string line = "[";
    line += entity.index + ": " + Escape(std::string_view(type));
    const std::string_view name = GetFileName(*entity.part);
    if (!name.empty()) line += ", \"" + Escape(name, '"') + "\"";
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

/// Text that calls itself ASCII, or nothing at all, is often UTF-8.
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
    const MIME::Part& part = *entity.part;
    if (IsHtml(entity)) return StripHtml(text);
    if (!EqualsCaseless(GetParameter(part, "Content-Type", "format"), "flowed")) {
        return std::string(std::string_view(text));
    }
    const AnsiStr delSp = GetParameter(part, "Content-Type", "delsp");
    return std::string(
        std::string_view(MIME::Decoding::FlowedToParagraphs(text, EqualsCaseless(delSp, "yes"))));
}

void PrintBody(const Entity& entity) {
    KivGuiBase::MemoryFile view;
    const KivGuiBase::File& file = entity.part->data.file;
    if (!view.Open(file, KivGuiBase::MemoryFile::Mode::read)) {
        throw Failure(std::string(std::string_view(file.GetPath())), GetLastReason());
    }
    if (view.GetSize() == 0) return;
    if (view.GetSize() > AnsiStr::kMaxLength) return PrintNote(entity, "too long to show");
    const AnsiStr charset = GetParameter(*entity.part, "Content-Type", "charset");
    const MIME::Decoding::TextResult result =
        Convert({view.GetData(), static_cast<size_t>(view.GetSize())}, charset);
    if (!result.known) {
        const std::string name{std::string_view(charset)};
        return PrintNote(entity, "unknown character set \"" + name + "\"");
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
    /// An empty line between what belongs to different entities.
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
