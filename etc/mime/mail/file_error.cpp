#include "mime/mail/file_error.h"

#include <string_view>

#include "kivgui/error.h"
#include "kivgui/file.h"
#include "kivgui/utf8.h"
#include "mime/mail/whole.h"

namespace MIME {

namespace {

/// C0, DEL, and C1 in UTF-8.
bool IsControl(std::string_view character) noexcept {
    const auto last = static_cast<unsigned char>(character.back());
    return character.size() == 1 ? last < 0x20 || last == 0x7F
                                 : character.size() == 2 && character[0] == '\xC2' && last < 0xA0;
}

void AppendOneLine(std::string& line, std::string_view text) {
    while (!text.empty()) {
        const unsigned length = KivGuiBase::MeasureUtf8(text);
        const std::string_view character = text.substr(0, length == 0 ? 1 : length);
        const bool isShown = length != 0 && !IsControl(character);
        line += isShown ? character : KivGuiBase::kReplacementCharacter;
        text.remove_prefix(character.size());
    }
}

/// The name of the file, and ": ".
std::string MakePrefix(const std::filesystem::path& path) {
    return Whole([&] {
        std::string text;
        AppendOneLine(text, KivGuiBase::File(path).GetPath());
        return text + ": ";
    });
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
            AppendOneLine(text, KivGuiBase::GetErrorMessage(systemCode, 0, 0));
        }
        return Error(code, std::move(text)).SetSystemCode(systemCode);
    });
}

}  // namespace MIME
