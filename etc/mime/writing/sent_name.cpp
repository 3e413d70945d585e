#include <algorithm>

#include "kivgui/utf8.h"
#include "mime/mail/shown_text.h"
#include "mime/writing/field_text.h"

namespace MIME {

namespace {

/// Marks, embeddings, overrides and isolates of direction (Unicode, UAX 9), and the separators of
/// lines and paragraphs.
bool ChangesText(std::string_view character) noexcept {
    constexpr std::string_view kSuch[] = {"\u061C", "\u200E", "\u200F", "\u2028", "\u2029",
                                          "\u202A", "\u202B", "\u202C", "\u202D", "\u202E",
                                          "\u2066", "\u2067", "\u2068", "\u2069"};
    return std::ranges::find(kSuch, character) != std::end(kSuch);
}

}  // namespace

std::string MakeSentName(std::string_view path) {
    return ReplaceUnsafeCharacters(path.substr(path.find_last_of("/\\") + 1));
}

std::string ReplaceUnsafeCharacters(std::string_view name) {
    std::string safe;
    while (!name.empty()) {
        const unsigned length = KivGuiBase::MeasureUtf8(name);
        const std::string_view character = name.substr(0, std::max(length, 1U));
        const bool isSafe =
            length != 0 && !IsControlCharacter(character) && !ChangesText(character);
        safe += isSafe ? character : "_";
        name.remove_prefix(character.size());
    }
    return safe;
}

}  // namespace MIME
