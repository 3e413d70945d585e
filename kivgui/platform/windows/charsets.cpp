#include <algorithm>
#include <charconv>
#include <memory>
#include <new>

#include "kivgui/ascii.h"
#include "kivgui/memory.h"
#include "kivgui/platform/platform.h"
#include "kivgui/platform/windows/system.h"
#include "kivgui/utf8.h"

// The system converts whole texts to UTF-16 and says whether they are malformed, but not where. So
// a text that is malformed is converted again, character by character: the shortest run of up to 4
// bytes that converts is a character. Code pages with shift states report nothing malformed.

namespace KivGuiBase::Platform {

namespace {

struct CodePage {
    std::string_view name;
    unsigned number;
};

constexpr CodePage kCodePages[] = {
    {"gb18030", 54936}, {"hz-gb-2312", 52936},  {"big5", 950},          {"big5-hkscs", 950},
    {"euc-jp", 20932},  {"iso-2022-jp", 50221}, {"iso-2022-kr", 50225}, {"johab", 1361},
    {"koi8-r", 20866},  {"koi8-u", 21866},      {"tis-620", 874},       {"macintosh", 10000},
    {"utf-7", 65000},
};

/// The number after a prefix; 0 when the name has another form.
unsigned ReadNumber(std::string_view name, std::string_view prefix) noexcept {
    unsigned number = 0;
    if (!StartsWithCaseless(name, prefix)) return 0;
    name.remove_prefix(prefix.size());
    const auto read = std::from_chars(name.data(), name.data() + name.size(), number);
    return read.ec == std::errc() && read.ptr == name.data() + name.size() ? number : 0;
}

/// The system's number of a charset; 0 when it has none.
unsigned FindCodePage(std::string_view name) noexcept {
    constexpr unsigned kIso8859 = 28590;
    unsigned number = 0;
    for (const CodePage& row : kCodePages) {
        if (EqualsCaseless(row.name, name)) number = row.number;
    }
    if (number == 0) number = ReadNumber(name, "cp");
    if (number == 0) number = ReadNumber(name, "ibm");
    if (number == 0) {
        const unsigned part = ReadNumber(name, "iso-8859-");
        if (part != 0 && part < 16) number = kIso8859 + part;
    }
    // Nearly all text that is labelled GB 18030 uses only its older part.
    constexpr unsigned kGb18030 = 54936;
    constexpr unsigned kGbk = 936;
    if (number == kGb18030 && IsValidCodePage(number) == 0) number = kGbk;
    // The numbers below are names for whatever the machine is set to.
    constexpr unsigned kFirstFixed = 37;
    return number >= kFirstFixed && IsValidCodePage(number) != 0 ? number : 0;
}

/// For these the system neither accepts flags nor reports malformed text.
constexpr bool IsStateful(unsigned codePage) noexcept {
    return (codePage >= 50220 && codePage <= 50229) || codePage == 52936 || codePage == 65000 ||
           (codePage >= 57002 && codePage <= 57011);
}

void AppendWide(std::wstring_view wide, TextBuilder& text) noexcept {
    const AnsiStr converted = ToUtf8(wide);
    if (converted.IsEmpty()) return text.Abandon();
    text.Append(converted);
}

/// Converts bytes to UTF-16. @return the number of units; 0 when the bytes are malformed.
int Convert(unsigned codePage, std::string_view bytes, wchar_t* wide, int room) noexcept {
    const DWORD flags = IsStateful(codePage) ? 0 : MB_ERR_INVALID_CHARS;
    return MultiByteToWideChar(codePage, flags, bytes.data(), static_cast<int>(bytes.size()), wide,
                               room);
}

/// Converts a text that is not well-formed character by character.
void AppendCharacters(unsigned codePage, std::string_view bytes, TextBuilder& text,
                      uint64_t& replaced) noexcept {
    constexpr size_t kMaxCharacter = 4;
    while (!bytes.empty() && text.IsComplete()) {
        wchar_t wide[2 * kMaxCharacter];
        size_t length = 1;
        int units = 0;
        for (; length <= std::min(kMaxCharacter, bytes.size()); ++length) {
            units = Convert(codePage, bytes.substr(0, length), wide, 2 * kMaxCharacter);
            if (units != 0) break;
        }
        if (units != 0) {
            AppendWide({wide, static_cast<size_t>(units)}, text);
        } else {
            length = 1;
            ++replaced;
            text.Append(kReplacementCharacter);
        }
        bytes.remove_prefix(length);
    }
}

}  // namespace

bool AppendAsUtf8(const char* charset, std::string_view bytes, TextBuilder& text,
                  uint64_t& replaced) noexcept {
    const LastErrorKept kept;
    const unsigned codePage = FindCodePage(charset);
    if (codePage == 0) return false;
    if (bytes.empty()) return true;
    constexpr size_t kMostBytes = 0x3FFFFFFF;
    const size_t room = 2 * bytes.size();
    if (bytes.size() > kMostBytes) {
        text.Abandon();
        return true;
    }
    const std::unique_ptr<wchar_t[]> wide(new (std::nothrow) wchar_t[room]);
    if (wide == nullptr) {
        NoteMissingMemory();
        text.Abandon();
        return true;
    }
    const int units = Convert(codePage, bytes, wide.get(), static_cast<int>(room));
    if (units != 0) {
        AppendWide({wide.get(), static_cast<size_t>(units)}, text);
    } else {
        AppendCharacters(codePage, bytes, text, replaced);
    }
    return true;
}

}  // namespace KivGuiBase::Platform
