#include <string>
#include <string_view>
#include <vector>

#include <mime/mail.h>

#ifdef KIVMIME_WITH_HTML
#include <mime/html.h>
#endif

#include "commands.h"
#include "escape.h"
#include "kivgui/ascii.h"
#include "message.h"
#include "output.h"

// "text": walks the entities in the order of the message. The library says which of them are its text; the
// others are named, unless they are another form of what is shown. One body at a time is in memory.

namespace Tool {

namespace {

#ifdef KIVMIME_WITH_HTML
constexpr bool kReadsHtml = true;
constexpr MIME::HtmlConverter kHtmlToText = MIME::HtmlToText;
#else
constexpr bool kReadsHtml = false;
constexpr MIME::HtmlConverter kHtmlToText = nullptr;
#endif

class TextPrinter {
public:
    explicit TextPrinter(const MIME::Mail& mail)
        : outline_(mail), entities_(ListEntities(mail)), nodes_(entities_.size()) {
        for (size_t i = 0; i < entities_.size(); ++i) {
            nodes_[i].isAlternative = entities_[i].IsType("multipart/alternative");
            nodes_[i].carriesMessage = entities_[i].CarriesMessage();
            if (BeginsMessage(i)) NoteText(i);
        }
        for (size_t i = nodes_.size(); i-- > 1;) {
            nodes_[outline_[i].parent].hasText |= nodes_[i].hasText;
        }
        for (size_t i = 1; i < nodes_.size(); ++i) {
            const Node& above = nodes_[outline_[i].parent];
            const bool isOther = above.isAlternative && above.hasText && !nodes_[i].hasText;
            nodes_[i].isPassedOver = isOther || above.isPassedOver;
        }
    }

    void Print() {
        for (size_t i = 0; i < entities_.size(); ++i) {
            if (BeginsMessage(i)) PrintHead(i);
            if (!entities_[i].HasChildren()) PrintBody(i);
        }
    }

private:
    struct Node {
        bool isAlternative = false;
        bool carriesMessage = false;
        bool hasText = false;       ///< the entity, or something inside it, is shown
        bool isPassedOver = false;  ///< another form of what is shown
    };

    bool BeginsMessage(size_t place) const {
        return place == 0 || nodes_[outline_[place].parent].carriesMessage;
    }

    void NoteText(size_t top) {
        size_t place = top;
        for (const MIME::Entity& text : entities_[top].GetTextEntities()) {
            while (entities_[place] != text) ++place;
            nodes_[place].hasText = true;
        }
    }

    void PrintHead(size_t place) {
        std::string head;
        if (place != 0) head = "[" + outline_[place].index + ": a message]\n";
        for (const char* name : {"From", "To", "Date", "Subject"}) {
            const std::string text = entities_[place].GetField(name);
            if (!text.empty()) head += std::string(name) + ": " + Escape(text) + "\n";
        }
        if (!head.empty()) PrintBlock(head);
    }

    void PrintBody(size_t place) {
        const MIME::Entity& entity = entities_[place];
        const bool isAttachment = entity.GetDisposition() == "attachment";
        if (nodes_[place].isPassedOver && !isAttachment) return;
        if (!nodes_[place].hasText) return PrintNote(place, "");
        if (!kReadsHtml && entity.IsType("text/html")) {
            return PrintNote(place, "this program was built without HTML");
        }
        PrintBlock(EscapeLines(entity.GetReadableText(kHtmlToText)));
    }

    /// Prints a line that says what is not shown. @param why  may be empty
    void PrintNote(size_t place, const std::string& why) {
        const MIME::Entity& entity = entities_[place];
        const std::string name = entity.GetFileName();
        const uint64_t size = entity.GetDecodedSize();
        if (size == 0 && name.empty()) return;
        std::string line = "[" + outline_[place].index + ": " + Escape(entity.GetMediaType());
        if (!name.empty()) line += ", \"" + Escape(name, '"') + "\"";
        line += ", " + std::to_string(size) + " bytes";
        if (!why.empty()) line += ": " + why;
        PrintBlock(line + "]\n");
    }

    /// Prints an empty line between different entities.
    void PrintBlock(const std::string& text) {
        if (hasPrinted_) Tool::Print("\n");
        hasPrinted_ = true;
        Tool::Print(text);
    }

    const Outline outline_;
    const std::vector<MIME::Entity> entities_;
    std::vector<Node> nodes_;
    bool hasPrinted_ = false;
};

}  // namespace

int PrintText(const TextOptions& options) {
    Headings headings;
    return ForEachInput(options.sources, Inputs::Quoting::removed, [&](const Input& input) {
        const MIME::Mail mail = ReadMail(input, options.sources);
        TextPrinter printer(mail);
        headings.Print(input);
        printer.Print();
    });
}

}  // namespace Tool
