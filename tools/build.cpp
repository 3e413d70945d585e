#include <memory>
#include <new>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "build_addresses.h"
#include "build_body.h"
#include "build_header_text.h"
#include "build_marks.h"
#include "commands.h"
#include "failure.h"
#include "output.h"
#include "target.h"

namespace Tool {

using KivGuiBase::DiskFile;
using KivGuiBase::File;
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

/// A Content-ID (RFC 2392) that a page can name the file by: its name with what is no atom turned
/// into "_", at a domain that nobody has.
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

/// Puts the page and the images that it shows together (RFC 2387).
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

/// What the reader sees first; null when the message is its attachments.
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

/// Is a child written as 8bit? Then the multipart must say so (RFC 2045, 6.4).
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

/// Date and Message-ID; with a seed and without a date, always the same one.
void SetMarks(Part& message, const BuildOptions& options, const std::string& domain) {
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
    SetMarks(message, options, GetSenderDomain("--from", from));
}

AnsiStr MakeMessage(const BuildOptions& options, const WorkFolder& folder) {
    const FixedRandomness fixed(options.seed);
    BodyMaker maker(folder);
    // The options are looked at before files are read.
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

void WriteText(const AnsiStr& text, const std::string& path, const std::string& shown) {
    DiskFile file;
    const bool written = file.Open(File(AnsiStr(path)), DiskFile::Mode::create) &&
                         file.Write(text.GetStr(), text.GetLength());
    if (!written || !file.Close()) throw Failure(shown, GetLastReason());
}

}  // namespace

int Build(const BuildOptions& options) {
    const WorkFolder folder;
    const AnsiStr text = MakeMessage(options, folder);
    if (options.target == "-") {
        Print(text);
        FinishOutput();
    } else if (IsStream(options.target)) {
        WriteText(text, options.target, options.target);
    } else {
        ReplaceFile(options.target,
                    [&](const std::string& path) { WriteText(text, path, options.target); });
    }
    return 0;
}

}  // namespace Tool
