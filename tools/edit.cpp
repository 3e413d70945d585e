#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <mime/mail.h>

#include "commands.h"
#include "files.h"
#include "kivgui/ascii.h"
#include "message.h"
#include "output.h"
#include "written_mail.h"

// "edit" and "sign": tell an Edit what the user wants changed. What is removed comes first, so that it may
// come back changed; the footer comes last, so that a new text has it too.

namespace Tool {

using KivGuiBase::TrimSpace;
using MIME::Edit;

namespace {

/// Divides "NAME: VALUE" or "INDEX=FILE", which the command line was checked for.
std::pair<std::string, std::string> Divide(const std::string& text, char mark) {
    const size_t at = text.find(mark);
    return {text.substr(0, at), text.substr(at + 1)};
}

void ChangeFields(Edit& edit, const EditOptions& options) {
    for (const std::string& name : options.removedFields) edit.RemoveField(name);
    for (const std::string& field : options.setFields) {
        const auto [name, value] = Divide(field, ':');
        edit.SetField(name, TrimSpace(value));
    }
    for (const std::string& field : options.addedFields) {
        const auto [name, value] = Divide(field, ':');
        edit.AddField(name, TrimSpace(value));
    }
}

/// The entities of a mail by the indices that Show prints.
class Parts {
public:
    Parts(const MIME::Mail& mail, const std::string& shown)
        : outline_(mail), entities_(ListEntities(mail)), shown_(shown) {}

    const MIME::Entity& operator[](const std::string& index) const {
        const std::optional<size_t> found = outline_.Find(index);
        if (!found) throw Failure(shown_, "no part " + index);
        return entities_[*found];
    }

private:
    const Outline outline_;
    const std::vector<MIME::Entity> entities_;
    const std::string& shown_;
};

void ChangeParts(Edit& edit, const Parts& parts, const EditOptions& options, WorkFolder& folder) {
    for (const std::string& index : options.removedParts) edit.Remove(parts[index]);
    for (const std::string& replaced : options.replacedParts) {
        const auto [index, path] = Divide(replaced, '=');
        const SentFile file = GetSentFile(path, folder);
        edit.Replace(parts[index], MIME::NewPart::File(file.path, file.options));
    }
}

void AddFooter(Edit& edit, const std::string& footer) {
    if (footer.empty()) return;
    if (footer.front() != '@') return static_cast<void>(edit.AddFooter(footer));
    std::string text;
    ReadPieces(KivGuiBase::File(MIME::AnsiStr(footer.substr(1))),
               [&](std::string_view piece) { text += piece; });
    edit.AddFooter(text);
}

/// What is signed gets a header block of its own, which needs a field; and an mbox line has no place in it.
void CheckCanBeSigned(const MIME::Mail& mail, const std::string& shown) {
    const MIME::Entity top = mail.GetTop();
    const std::string_view before = mail.GetSource().substr(0, top.GetHeaderRange().offset);
    if (TrimSpace(before).starts_with("From ")) throw Failure(shown, "begins with an mbox line");
    for (const MIME::Field& field : top.GetFields()) {
        if (!KivGuiBase::StartsWithCaseless(field.name, "Content-") &&
            !KivGuiBase::EqualsCaseless(field.name, "MIME-Version")) {
            return;
        }
    }
    throw Failure(shown, "has no header field besides Content- fields and MIME-Version");
}

void PrintBroken(const MIME::BrokenSignature& broken, const std::string& shown) {
    using Kind = MIME::BrokenSignature::Kind;
    std::string text = shown + ": the change breaks the ";
    if (broken.kind == Kind::smime) text += "S/MIME ";
    if (broken.kind == Kind::openPgp) text += "OpenPGP ";
    if (broken.kind == Kind::dkim) {
        text += "DKIM signature of " + broken.where;
    } else {
        text += "signature of part " + MakeIndex(broken.where);
    }
    PrintError(text);
}

}  // namespace

int EditMessage(const EditOptions& options) {
    Leftovers::RemoveOnInterrupt();
    WorkFolder folder;
    const std::string shown = GetShownName(options.file);
    MIME::EditOutcome outcome;
    // The mail is closed before it may be replaced.
    WritePieces(options.target, [&](const TakePiece& take) {
        const MIME::Mail mail = OpenMail({options.file, {}, false}, folder);
        if (!options.signer.file.empty()) CheckCanBeSigned(mail, shown);
        Edit edit(mail);
        ChangeFields(edit, options);
        if (!options.removedParts.empty() || !options.replacedParts.empty()) {
            ChangeParts(edit, Parts(mail, shown), options, folder);
        }
        for (const std::string& path : options.attachments) {
            const SentFile file = GetSentFile(path, folder);
            edit.Attach(file.path, file.options);
        }
        AddFooter(edit, options.footer);
        SignWith(edit, options.signer);
        auto written = PassOn(edit, take);
        CheckWritten(written, shown, options.signer);
        outcome = std::move(*written);
    });
    for (const MIME::BrokenSignature& broken : outcome.brokenSignatures) {
        PrintBroken(broken, shown);
    }
    return 0;
}

}  // namespace Tool
