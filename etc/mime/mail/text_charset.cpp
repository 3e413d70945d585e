#include "mime/mail/text_charset.h"

#include <algorithm>
#include <array>
#include <new>
#include <optional>

#include "kivgui/ascii.h"
#include "kivgui/charset.h"
#include "kivgui/utf8.h"
#include "mime/mail/whole.h"

// A label is looked up in the rows of charset_labels.inc, which give the charset's name on the web and
// its names on systems; a label that has no row is taken for a name that the system knows. The base
// layer converts. What it replaces in a windows charset is looked at again here, because the web knows
// more of these bytes than the charsets' own tables.

namespace MIME {

namespace {

using KivGuiBase::IsSpaceAscii;
using KivGuiBase::ToLowerAscii;

// ----------------------------------------------------------------------------------- labels --

struct Charset {
    std::string_view name;
    std::string_view systemNames;  ///< separated by blanks
    std::string_view labels;       ///< likewise; "|" does not count
};

constexpr Charset kCharsets[] = {
#define MIME_CHARSET(name, systemNames, labels) {name, systemNames, labels},
#include "mime/mail/charset_labels.inc"
};

constexpr std::string_view kWindows1252 = "windows-1252";

/// Calls `visit` with each word of a text, until it returns true. @return whether it did.
template <class Visit>
bool AnyWord(std::string_view text, Visit visit) {
    while (!text.empty()) {
        const std::string_view word = text.substr(0, text.find(' '));
        if (!word.empty() && visit(word)) return true;
        text.remove_prefix(std::min(text.size(), word.size() + 1));
    }
    return false;
}

constexpr bool IsKeyCharacter(char c) noexcept {
    const char lower = ToLowerAscii(c);
    return KivGuiBase::IsDigitAscii(c) || (lower >= 'a' && lower <= 'z');
}

/// Removes what is no part of a key from the start, and returns the next character in lower case;
/// NUL at the end.
char TakeKeyCharacter(std::string_view& label) noexcept {
    while (!label.empty() && !IsKeyCharacter(label.front())) label.remove_prefix(1);
    if (label.empty()) return '\0';
    const char c = ToLowerAscii(label.front());
    label.remove_prefix(1);
    return c;
}

bool HaveSameKey(std::string_view a, std::string_view b) noexcept {
    for (;;) {
        const char c = TakeKeyCharacter(a);
        if (c != TakeKeyCharacter(b)) return false;
        if (c == '\0') return true;
    }
}

bool HasLabel(std::string_view labels, std::string_view wanted) noexcept {
    return AnyWord(labels, [wanted](auto label) { return HaveSameKey(label, wanted); });
}

/// The label without what senders write around it: `"utf-8"; x`, `charset=utf-8`.
std::string_view TrimLabel(std::string_view label) noexcept {
    constexpr std::string_view kPrefix = "charset=";
    const auto isAround = [](char c) { return IsSpaceAscii(c) || c == '"' || c == '\''; };
    const auto trimStart = [&] {
        while (!label.empty() && isAround(label.front())) label.remove_prefix(1);
    };
    trimStart();
    if (KivGuiBase::StartsWithCaseless(label, kPrefix)) {
        label.remove_prefix(kPrefix.size());
        trimStart();
    }
    const auto end = std::find_if(label.begin(), label.end(), [&](char c) {
        return isAround(c) || c == ';' || c == ',' || c == '*';
    });
    return label.substr(0, static_cast<size_t>(end - label.begin()));
}

/// The charset of a label; one that has no row is a name of the system, which may not know it.
/// @param label  trimmed; must live as long as the result.
Charset FindCharset(std::string_view label) noexcept {
    for (const Charset& row : kCharsets) {
        if (HasLabel(row.labels, label)) return row;
    }
    return {label, label, {}};
}

/// The labels of plain ASCII, which many programs write whatever the text is.
bool IsAscii(std::string_view label) noexcept {
    return HasLabel(
        "us-ascii ascii us ansi_x3.4-1968 ansi_x3.4-1986 iso646-us iso_646.irv:1991 iso-ir-6 "
        "cp367 ibm367 csascii",
        label);
}

// ------------------------------------------------------------------------------- conversion --

/// Converts a text of single bytes that the base layer has found malformed.
DecodedText ConvertSingleBytes(std::string_view bytes, std::string_view system) {
    constexpr size_t kHighBytes = 128;
    constexpr size_t kControls = 32;
    DecodedText result;
    std::array<std::string, kHighBytes> characters;
    std::array<bool, kHighBytes> isMalformed{};
    for (size_t i = 0; i < kHighBytes; ++i) {
        const char byte = static_cast<char>(kHighBytes + i);
        const KivGuiBase::CharsetResult one = KivGuiBase::ConvertToUtf8({&byte, 1}, system);
        isMalformed[i] = one.replaced != 0 && i >= kControls;
        if (one.replaced != 0 && i < kControls) {
            characters[i] = {'\xC2', byte};  // U+0080 to U+009F
        } else {
            characters[i] = std::string_view(one.text);
        }
    }
    result.text.reserve(bytes.size() + bytes.size() / 2);
    for (const char c : bytes) {
        if (KivGuiBase::IsAscii(c)) {
            result.text += c;
        } else {
            const size_t place = static_cast<unsigned char>(c) - kHighBytes;
            result.text += characters[place];
            result.replaced += isMalformed[place] ? 1 : 0;
        }
    }
    return result;
}

/// Returns nothing when no system name of the charset is known.
std::optional<DecodedText> Convert(std::string_view bytes, const Charset& charset) {
    constexpr size_t kMost = size_t{1} << 30;  // the base layer's texts end at 4 GiB
    if (bytes.size() > kMost) throw std::bad_alloc();
    std::optional<DecodedText> result;
    AnyWord(charset.systemNames, [&](std::string_view system) {
        const KivGuiBase::CharsetResult got = KivGuiBase::ConvertToUtf8(bytes, system);
        if (!got.known) return false;
        const bool isOfWindows = !charset.labels.empty() && charset.name.starts_with("windows-");
        result = got.replaced != 0 && isOfWindows
                     ? ConvertSingleBytes(bytes, system)
                     : DecodedText{std::string(std::string_view(got.text)), {}, got.replaced};
        return true;
    });
    if (!result) return {};
    for (const char c : charset.name) result->charset += ToLowerAscii(c);
    return result;
}

DecodedText CopyUtf8(std::string_view bytes) {
    return {std::string(bytes), "utf-8", 0};
}

/// Returns true if the text cannot be in this charset but can be in UTF-8.
bool IsMislabelled(std::string_view bytes, std::string_view charset) noexcept {
    const auto begins = [charset](std::string_view prefix) {
        return KivGuiBase::StartsWithCaseless(charset, prefix);
    };
    if (begins("utf-16")) {
        return bytes.find('\0') == std::string_view::npos && KivGuiBase::IsUtf8Text(bytes);
    }
    const bool isSevenBit = begins("iso-2022-") || begins("utf-7") || begins("hz-");
    return isSevenBit && !KivGuiBase::IsAsciiText(bytes) && KivGuiBase::IsUtf8Text(bytes);
}

/// Returns nothing when the text has no byte-order mark.
std::optional<DecodedText> ConvertByMark(std::string_view bytes, std::string_view label) {
    const std::string_view rest = KivGuiBase::SkipByteOrderMark(bytes);
    if (rest.size() != bytes.size()) return Convert(rest, FindCharset("utf-8"));
    const bool isLittle = bytes.starts_with("\xFF\xFE");
    if (!isLittle && !bytes.starts_with("\xFE\xFF")) return {};
    // A mark of UTF-32 begins with one of UTF-16. The web does not know it, mail does.
    if (HasLabel("utf-32 utf-32le utf-32be ucs-4 iso-10646-ucs-4", label)) return {};
    return Convert(bytes.substr(2), FindCharset(isLittle ? "utf-16le" : "utf-16be"));
}

DecodedText ConvertByFallback(std::string_view bytes, const TextCharset& how) {
    if (KivGuiBase::IsUtf8Text(bytes)) return CopyUtf8(bytes);
    std::optional<DecodedText> result = Convert(bytes, FindCharset(TrimLabel(how.fallback)));
    return result ? *std::move(result) : *Convert(bytes, FindCharset(kWindows1252));
}

DecodedText ConvertByLabel(std::string_view bytes, std::string_view label, const TextCharset& how) {
    if (label.empty() || IsAscii(label)) return ConvertByFallback(bytes, how);
    const Charset charset = FindCharset(label);
    if (charset.name == "utf-8" && KivGuiBase::IsUtf8Text(bytes)) return CopyUtf8(bytes);
    if (IsMislabelled(bytes, charset.name)) return CopyUtf8(bytes);
    std::optional<DecodedText> result = Convert(bytes, charset);
    return result ? *std::move(result) : ConvertByFallback(bytes, how);
}

}  // namespace

DecodedText DecodeText(std::string_view bytes, std::string_view label, const TextCharset& how) {
    return Whole([&] {
        const std::string_view trimmed = TrimLabel(label);
        std::optional<DecodedText> result = ConvertByMark(bytes, trimmed);
        return result ? *std::move(result) : ConvertByLabel(bytes, trimmed, how);
    });
}

std::string DecodeRawHeader(std::string_view raw, const TextCharset& how) {
    return Whole([&] { return ConvertByFallback(raw, how).text; });
}

}  // namespace MIME
