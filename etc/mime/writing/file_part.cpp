#include "mime/writing/file_part.h"

#include <utility>

#include "kivgui/ascii.h"
#include "kivgui/file.h"
#include "mime/mail/whole.h"
#include "mime/writing/attachment_type.h"
#include "mime/writing/field_text.h"
#include "mime/writing/write_failure.h"

namespace MIME {

using KivGuiBase::EqualsCaseless;
using KivGuiBase::StartsWithCaseless;

namespace {

constexpr std::string_view kLineEnd = "\r\n";

/// Multiparts and messages may not be encoded (RFC 2045, 6.4), so as a file such a body is of no type.
std::string GetFileType(const std::string& type) {
    const bool isComposite =
        StartsWithCaseless(type, "message/") || StartsWithCaseless(type, "multipart/");
    return isComposite ? "application/octet-stream" : type;
}

}  // namespace

bool CanBeVerbatim(const BodySource& body) {
    const Result<void> planned =
        Caught<void>([&] { static_cast<void>(PlanBody(body, BodyForm::verbatim, {})); });
    if (!planned && planned.error().GetCode() != ErrorCode::cannotEncode) {
        throw WriteFailure{planned.error()};
    }
    return static_cast<bool>(planned);
}

FileOptions NameFile(const FileOptions& options, const std::filesystem::path& path) {
    FileOptions named = options;
    if (!named.name.empty()) return named;
    named.name = Whole(
        [&] { return std::string(std::string_view(KivGuiBase::File(path.filename()).GetPath())); });
    return named;
}

FilePart MakeFilePart(SharedBody body, const FileOptions& options) {
    FilePart file{MakeSentName(options.name), options.type, options.contentId, std::move(body)};
    if (file.name.empty()) Fail(ErrorCode::cannotEncode, "a file has no name");
    if (file.type.empty()) file.type = GetAttachmentType(file.name);
    // What is no type or identifier is found here, rather than when the mail is written.
    static_cast<void>(WriteParameterField("Content-Type", file.type, {}, kLineEnd));
    if (!file.contentId.empty()) {
        static_cast<void>(WriteIdField("Content-ID", {&file.contentId, 1}, kLineEnd));
    }
    return file;
}

Draft MakeFileDraft(const FilePart& file, std::string_view disposition) {
    Draft draft;
    draft.body = file.body;
    draft.parameters = {{"name", file.name}};
    if (EqualsCaseless(file.type, "message/rfc822") && CanBeVerbatim(*file.body)) {
        draft.type = file.type;
        draft.form = BodyForm::verbatim;
    } else {
        draft.type = GetFileType(file.type);
        draft.form = StartsWithCaseless(file.type, "text/") ? BodyForm::text : BodyForm::bytes;
    }
    const Parameter name[] = {{"filename", file.name}};
    draft.fields = WriteParameterField("Content-Disposition", disposition, name, kLineEnd);
    if (!file.contentId.empty()) {
        draft.fields += WriteIdField("Content-ID", {&file.contentId, 1}, kLineEnd);
    }
    return draft;
}

}  // namespace MIME
