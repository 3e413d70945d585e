#include <memory>
#include <new>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "build_body.h"
#include "build_fields.h"
#include "commands.h"
#include "files.h"
#include "kivgui/error.h"
#include "output.h"

// Makes a message as a tree of the library and writes it as text. The tree depends on what is given:
//
//   multipart/mixed               with attachments
//     multipart/alternative       with both text and HTML
//       text/plain
//       multipart/related         with inline files
//         text/html, the files
//     the attachments

namespace Tool {

using MIME::AnsiStr;
using MIME::Part;
using PartOwner = std::unique_ptr<Part>;

namespace {

/// Sets a field; one without a value is not written.
void SetField(Part& part, const char* name, std::string_view value) {
    GetField(part, name).value = AnsiStr(value);
}

void Adopt(Part& parent, PartOwner child) {
    const unsigned count = parent.parts.GetCount();
    parent.AddPart(child.get());
    if (parent.parts.GetCount() == count) throw std::bad_alloc();
    static_cast<void>(child.release());  // now the parent's
}

PartOwner MakeMultipart(MIME::SubType::keys subType) {
    auto part = std::make_unique<Part>();
    part->info.contentType = {{}, MIME::Type::multipart, subType};
    return part;
}

/// A Content-ID (RFC 2392) by which the HTML names the file: the file name, with "_" for every
/// character that an atom cannot have, at a domain that does not exist.
std::string MakeContentId(const std::string& name) {
    std::string id;
    for (const char c : name) {
        const bool isPlain = MIME::Encoding::IsAtom(AnsiStr(&c, 1)) &&
                             std::string_view("%/?#").find(c) == std::string_view::npos;
        const bool isInnerDot = c == '.' && !id.empty() && id.back() != '.';
        id += isPlain || isInnerDot ? c : '_';
    }
    if (id.ends_with('.')) id.back() = '_';
    return "<" + id + "@inline.invalid>";
}

/// Joins the HTML and the images that it shows (RFC 2387).
PartOwner AddInlineFiles(PartOwner page, const BuildOptions& options, BodyMaker& maker) {
    if (options.inlineFiles.empty()) return page;
    PartOwner related = MakeMultipart(MIME::SubType::related);
    Adopt(*related, std::move(page));
    SetParameter(GetField(*related, "Content-Type"), "type", "text/html");
    std::set<std::string> ids;
    for (const std::string& path : options.inlineFiles) {
        const std::string id = MakeContentId(GetSentName(path));
        if (!ids.insert(id).second) throw Failure(path, "another inline file has the same " + id);
        PartOwner file = maker.MakeFile(path, "inline");
        SetField(*file, "Content-ID", id);
        Adopt(*related, std::move(file));
    }
    return related;
}

/// The text of the message, in one or two forms; null when it has attachments only.
PartOwner MakeBody(const BuildOptions& options, BodyMaker& maker) {
    PartOwner text;
    if (!options.text.empty()) text = maker.MakeText(options.text, MIME::SubType::plain);
    if (options.html.empty()) return text;
    PartOwner page =
        AddInlineFiles(maker.MakeText(options.html, MIME::SubType::html), options, maker);
    if (!text) return page;
    PartOwner alternative = MakeMultipart(MIME::SubType::alternative);
    Adopt(*alternative, std::move(text));
    Adopt(*alternative, std::move(page));
    return alternative;
}

/// Returns true if a child is written as 8bit: the multipart must then say so (RFC 2045, 6.4).
bool Has8Bit(const Part& multipart) {
    for (const Part* child : multipart.parts) {
        if (child->info.transferEncoding == MIME::TransferEncoding::bit8) return true;
    }
    return false;
}

PartOwner AddAttachments(PartOwner body, const BuildOptions& options, BodyMaker& maker) {
    if (options.attachments.empty()) return body;
    PartOwner mixed = MakeMultipart(MIME::SubType::mixed);
    if (body) Adopt(*mixed, std::move(body));
    for (const std::string& path : options.attachments) {
        Adopt(*mixed, maker.MakeFile(path, "attachment"));
    }
    if (Has8Bit(*mixed)) SetField(*mixed, "Content-Transfer-Encoding", "8bit");
    return mixed;
}

/// Sets Date and Message-ID. With a seed and without a date, the date is always the same.
void SetDateAndId(Part& message, const BuildOptions& options, const std::string& domain) {
    if (!options.date.empty()) CheckDate("--date", options.date);
    if (!options.messageId.empty()) CheckMessageId("--message-id", options.messageId);
    const int64_t seconds = options.seed ? 0 : GetSecondsNow();
    SetField(message, "Date", options.date.empty() ? FormatDate(seconds) : options.date);
    SetField(message, "Message-ID",
             options.messageId.empty() ? MakeMessageId(domain) : options.messageId);
}

void SetHeaders(Part& message, const BuildOptions& options) {
    const std::string from = JoinAddresses("--from", options.from);
    SetField(message, "From", from);
    SetField(message, "To", JoinAddresses("--to", options.to));
    SetField(message, "Cc", JoinAddresses("--cc", options.cc));
    SetField(message, "Bcc", JoinAddresses("--bcc", options.bcc));
    SetField(message, "Subject", MakeUnstructured("--subject", options.subject));
    SetDateAndId(message, options, GetSenderDomain("--from", from));
}

AnsiStr MakeMessage(const BuildOptions& options, const WorkFolder& folder) {
    const FixedRandomness fixed(options.seed);
    BodyMaker maker(folder);
    // Options are checked before any file is read.
    Part headers;
    SetHeaders(headers, options);
    const PartOwner message = AddAttachments(MakeBody(options, maker), options, maker);
    if (!message->headers.CopyFrom(headers.headers)) throw std::bad_alloc();
    if (message->parts.IsEmpty()) SetField(*message, "Mime-Version", "1.0");
    message->data.topLevel = true;
    KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
    AnsiStr text = message->Serialize(false);
    if (text.IsEmpty()) throw Failure("the message", GetLastReason());
    return text;
}

}  // namespace

int Build(const BuildOptions& options) {
    const WorkFolder folder;
    WriteText(options.target, MakeMessage(options, folder));
    return 0;
}

}  // namespace Tool
