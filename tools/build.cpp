#include <algorithm>
#include <string>
#include <string_view>

#include <mime/mail.h>

#include "commands.h"
#include "files.h"
#include "output.h"
#include "written_mail.h"

// "build": tells a Composer what the user gave.

namespace Tool {

using MIME::Composer;

namespace {

/// An empty list is no list: what a script has put together may have no entry.
bool HasEntries(const std::string& list) {
    return list.find_first_not_of(" \t,") != std::string::npos;
}

void AddPeople(Composer& mail, Composer& (Composer::*add)(std::string_view),
               const std::vector<std::string>& lists) {
    for (const std::string& list : lists) {
        if (HasEntries(list)) (mail.*add)(list);
    }
}

void SetDate(Composer& mail, const std::string& text) {
    const std::optional<MIME::Date> date = MIME::Date::Parse(text);
    if (!date) {
        throw Failure("--date", "\"" + text + "\" is not like \"Thu, 09 Jul 2026 11:21:09 +0200\"");
    }
    mail.SentAt(date->time, date->offset);
}

void SetFields(Composer& mail, const BuildOptions& options) {
    AddPeople(mail, &Composer::From, options.from);
    AddPeople(mail, &Composer::To, options.to);
    AddPeople(mail, &Composer::Cc, options.cc);
    AddPeople(mail, &Composer::Bcc, options.bcc);
    if (!options.subject.empty()) mail.Subject(options.subject);
    if (!options.date.empty()) SetDate(mail, options.date);
    if (!options.messageId.empty()) mail.MessageId(options.messageId);
}

/// The Content-ID (RFC 2392) by which HTML names the file: the file name, with "_" for every character
/// that an atom cannot have or that a URL escapes, at a domain that does not exist.
std::string MakeContentId(const std::string& name) {
    std::string id;
    for (const char c : name) {
        const bool isPlain = MIME::Encoding::IsAtom(MIME::AnsiStr(&c, 1)) &&
                             std::string_view("%/?#").find(c) == std::string_view::npos;
        const bool isInnerDot = c == '.' && !id.empty() && id.back() != '.';
        id += isPlain || isInnerDot ? c : '_';
    }
    if (id.ends_with('.')) id.back() = '_';
    return id + "@inline.invalid";
}

void AddFiles(Composer& mail, const BuildOptions& options, WorkFolder& folder) {
    const auto plain = [&folder](const std::string& path) {
        return ToPath(GetPlainFile(path, folder));
    };
    if (!options.text.empty()) mail.TextFile(plain(options.text));
    if (!options.html.empty()) mail.HtmlFile(plain(options.html));
    for (const std::string& path : options.inlineFiles) {
        SentFile file = GetSentFile(path, folder);
        file.options.contentId = MakeContentId(file.options.name);
        mail.Inline(file.path, file.options);
    }
    for (const std::string& path : options.attachments) {
        const SentFile file = GetSentFile(path, folder);
        mail.Attach(file.path, file.options);
    }
}

}  // namespace

int Build(const BuildOptions& options) {
    Leftovers::RemoveOnInterrupt();
    WorkFolder folder;
    Composer mail = options.seed ? Composer(*options.seed) : Composer();
    SetFields(mail, options);
    AddFiles(mail, options, folder);
    SignWith(mail, options.signer);
    WritePieces(options.target, [&](const TakePiece& take) {
        const MIME::Result<void> written = PassOn(mail, take);
        if (!written) throw Failure(ExplainError(written.error(), options.signer));
    });
    return 0;
}

}  // namespace Tool
