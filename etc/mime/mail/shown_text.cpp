#include "mime/mail/shown_text.h"

#include "kivgui/utf8.h"

namespace MIME {

bool IsControlCharacter(std::string_view character) noexcept {
    const auto last = static_cast<unsigned char>(character.back());
    return character.size() == 1 ? last < 0x20 || last == 0x7F
                                 : character.size() == 2 && character[0] == '\xC2' && last < 0xA0;
}

std::string ShowOnOneLine(std::string_view text) {
    std::string line;
    while (!text.empty()) {
        const unsigned length = KivGuiBase::MeasureUtf8(text);
        const std::string_view character = text.substr(0, length == 0 ? 1 : length);
        const bool isShown = length != 0 && !IsControlCharacter(character);
        line += isShown ? character : KivGuiBase::kReplacementCharacter;
        text.remove_prefix(character.size());
    }
    return line;
}

}  // namespace MIME
