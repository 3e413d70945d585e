#include "mime/mail/file_error.h"

#include <string_view>

#include "kivgui/error.h"
#include "kivgui/file.h"
#include "mime/mail/shown_text.h"
#include "mime/mail/whole.h"

namespace MIME {

namespace {

/// The name of the file, and ": ".
std::string MakePrefix(const std::filesystem::path& path) {
    return Whole([&] { return ShowOnOneLine(KivGuiBase::File(path).GetPath()) + ": "; });
}

}  // namespace

Error MakeFileError(const Error& error, const std::filesystem::path& path) {
    Error named(error.GetCode(), MakePrefix(path) + error.GetText());
    named.SetSystemCode(error.GetSystemCode()).SetPlace(error.GetOffset(), error.GetEntityPath());
    return named;
}

Error MakeFileError(ErrorCode code, const std::filesystem::path& path, uint32_t systemCode) {
    return Whole([&] {
        std::string text = MakePrefix(path);
        if (systemCode == KivGuiBase::kErrorNone) {
            text += GetText(code);
        } else {
            text += ShowOnOneLine(KivGuiBase::GetErrorMessage(systemCode, 0, 0));
        }
        return Error(code, std::move(text)).SetSystemCode(systemCode);
    });
}

}  // namespace MIME
