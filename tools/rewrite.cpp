#include <algorithm>
#include <string>
#include <string_view>

#include <mime/mail.h>

#include "commands.h"
#include "escape.h"
#include "files.h"
#include "kivgui/ascii.h"
#include "kivgui/error.h"
#include "output.h"
#include "written_mail.h"

// "rewrite". With the mail rules a message that can be read is written as it came, byte for byte. With the
// exact rules the library makes the text anew from the tree.

namespace Tool {

using KivGuiBase::EqualsCaseless;
using KivGuiBase::File;

namespace {

/// The value of the field that says what the body is, on one line: a line end in it must not begin
/// another field.
std::string GetContentType(const MIME::Mail& mail, const Source& source) {
    const std::optional<MIME::Field> field = mail.GetTop().FindField("Content-Type");
    std::string value = source.contentType.value_or(field ? std::string(field->raw) : "");
    std::erase_if(value, [](char c) { return c == '\r' || c == '\n'; });
    std::replace(value.begin(), value.end(), '\t', ' ');
    return value;
}

/// Refuses an encoded body: without the header block nothing says how it is encoded.
void CheckHasPlainBody(const MIME::Entity& top, const std::string& shown) {
    const std::optional<MIME::Field> field = top.FindField("Content-Transfer-Encoding");
    const std::string encoding = field ? field->GetValue() : "";
    const bool isEncoded =
        EqualsCaseless(encoding, "base64") || EqualsCaseless(encoding, "quoted-printable");
    const bool isMultipart = top.HasChildren() && !top.CarriesMessage();
    if (!isEncoded || isMultipart) return;
    throw Failure(shown, "the body is " + KivGuiBase::MakeLowerAscii(encoding) +
                             ", and --body leaves out the field that says so");
}

/// @return the value of Content-Type.
std::string RewriteMail(const RewriteOptions& options, WorkFolder& folder, const TakePiece& take) {
    const MIME::Mail mail = OpenMail(options.source, folder);
    const MIME::Entity top = mail.GetTop();
    std::string contentType = GetContentType(mail, options.source);
    if (options.bodyOnly) CheckHasPlainBody(top, GetShownName(options.source.file));
    const bool isApart = options.source.contentType.has_value();
    if (isApart && !options.bodyOnly) take("Content-Type: " + contentType + "\r\n\r\n");
    if (isApart || options.bodyOnly) {
        take(top.GetRawBody());
    } else {
        MIME::Edit unchanged(mail);
        CheckWritten(PassOn(unchanged, take), GetShownName(options.source.file));
    }
    return contentType;
}

std::string RewriteStrict(const RewriteOptions& options, WorkFolder& folder,
                          const TakePiece& take) {
    const File file{MIME::AnsiStr(folder.MakePath("output"))};
    const std::unique_ptr<MIME::Part> message = OpenStrict(options.source, folder);
    MIME::AnsiStr contentType;
    KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
    if (!message->Write(file, options.bodyOnly ? &contentType : nullptr)) {
        throw Failure(options.target, GetLastReason());
    }
    ReadPieces(file, take);
    return ToString(contentType);
}

}  // namespace

int Rewrite(const RewriteOptions& options) {
    Leftovers::RemoveOnInterrupt();
    WorkFolder folder;
    std::string contentType;
    WritePieces(options.target, [&](const TakePiece& take) {
        contentType = options.source.strict ? RewriteStrict(options, folder, take)
                                            : RewriteMail(options, folder, take);
    });
    if (options.bodyOnly) Print(Escape(contentType) + "\n");
    FinishOutput();
    return 0;
}

}  // namespace Tool
