#include <cstdint>

#include "kivgui/file.h"
#include "kivgui/text_builder.h"
#include "kivgui/utf8.h"

// Paths of systems whose texts have wide characters: UTF-16, or UTF-32 where wchar_t has 32 bits.

namespace KivGuiBase {

namespace {

constexpr uint32_t kFirstHigh = 0xD800, kFirstLow = 0xDC00, kAfterLow = 0xE000;
constexpr uint32_t kFirstOfPairs = 0x10000;

bool IsBetween(uint32_t unit, uint32_t first, uint32_t after) noexcept {
    return unit >= first && unit < after;
}

/// Removes the first character, which is a surrogate when its other half is missing.
uint32_t TakeCharacter(std::wstring_view& text) noexcept {
    const auto unit = [text](size_t i) { return static_cast<uint32_t>(text[i]); };
    if (IsBetween(unit(0), kFirstHigh, kFirstLow) && text.size() > 1 &&
        IsBetween(unit(1), kFirstLow, kAfterLow)) {
        const uint32_t c = ((unit(0) - kFirstHigh) << 10 | (unit(1) - kFirstLow)) + kFirstOfPairs;
        text.remove_prefix(2);
        return c;
    }
    const uint32_t c = unit(0);
    text.remove_prefix(1);
    return c;
}

/// The code point of one well-formed character.
uint32_t Decode(std::string_view character) noexcept {
    constexpr unsigned kFirstBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    uint32_t c = static_cast<unsigned char>(character[0]) & kFirstBits[character.size()];
    for (const char tail : character.substr(1)) {
        c = c << 6 | (static_cast<unsigned char>(tail) & 0x3F);
    }
    return c;
}

}  // namespace

AnsiStr FromSystemPath(std::wstring_view path) noexcept {
    TextBuilder text(path.size());
    while (!path.empty()) {
        char bytes[4] = {'\xFF'};
        const unsigned length = EncodeUtf8(TakeCharacter(path), bytes);
        text.Append({bytes, length != 0 ? length : 1});
    }
    return text.Finish();
}

void ToSystemPath(std::string_view path, std::wstring& systemPath) {
    systemPath.clear();
    if (!IsUtf8(path)) return;
    systemPath.reserve(path.size());
    while (!path.empty()) {
        const unsigned length = MeasureUtf8(path);
        const uint32_t c = Decode(path.substr(0, length));
        path.remove_prefix(length);
        if (sizeof(wchar_t) > 2 || c < kFirstOfPairs) {
            systemPath += static_cast<wchar_t>(c);
        } else {
            systemPath += static_cast<wchar_t>(kFirstHigh + ((c - kFirstOfPairs) >> 10));
            systemPath += static_cast<wchar_t>(kFirstLow + ((c - kFirstOfPairs) & 0x3FF));
        }
    }
}

}  // namespace KivGuiBase
