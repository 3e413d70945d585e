#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "kivgui/ascii.h"
#include "kivgui/charset.h"
#include "kivgui/hex.h"
#include "kivgui/text_builder.h"
#include "mime/encoding/decode_words.h"
#include "mime/foundation/guarded.h"

// Finds the value of a parameter among its forms (RFC 2231): "name", "name*" and the sections
// "name*0", "name*1*" and so on. In the map, which is in alphabetical order, all forms with a "*"
// follow each other, so one walk finds them; the sections are then sorted by number. Takes time
// linear in the forms, apart from the sorting.
//
// Departures from RFC 2231 and 2047:
//  1. An extended value without a charset is taken to be UTF-8, as its senders mean it.
//  2. A "%" that begins no escape is an ordinary character.
//  3. Encoded words in a plain value are decoded (RFC 2047, 5 (3) forbids them).
//  4. Sections need not be contiguous: those after the first gap are ignored.

namespace MIME {

using KivGuiBase::TextBuilder;

namespace {

/// One section of a value that is divided into several (RFC 2231, 3).
struct Section {
    unsigned number;
    bool isExtended;  ///< the value is percent-encoded
    std::string_view value;

    /// Of two sections with one number the extended one comes first, and is used.
    bool operator<(const Section& other) const noexcept {
        return number != other.number ? number < other.number : isExtended && !other.isExtended;
    }
};

/// The forms of a parameter that the map has.
struct Forms {
    const AnsiStr* plain = nullptr;
    const AnsiStr* extended = nullptr;  ///< of "name*"
    std::unique_ptr<Section[]> sections;
    size_t sectionCount = 0;
};

/// Reads "*0" or "*0*".
std::optional<Section> ParseSection(std::string_view suffix, std::string_view value) noexcept {
    constexpr size_t kMostDigits = 9;
    Section section{0, suffix.ends_with('*'), value};
    if (section.isExtended) suffix.remove_suffix(1);
    if (!suffix.starts_with('*')) return std::nullopt;
    suffix.remove_prefix(1);
    const bool hasLeadingZero = suffix.size() > 1 && suffix.front() == '0';
    if (suffix.empty() || suffix.size() > kMostDigits || hasLeadingZero) return std::nullopt;
    for (const char digit : suffix) {
        if (!KivGuiBase::IsDigitAscii(digit)) return std::nullopt;
        section.number = section.number * 10 + static_cast<unsigned>(digit - '0');
    }
    return section;
}

/// Calls `visit` with the suffix and the value of each extended form and section. Their keys
/// follow each other in the map, the sections ordered as texts are: number 10 before number 2.
template <class Visit>
void ForEachForm(const ParameterMap& parameters, const AnsiStr& name, Visit visit) noexcept {
    AnsiStr start = GetCText(name);
    start += '*';
    if (!std::string_view(start).ends_with('*')) return;  // no memory, which the caller notices
    const unsigned length = start.GetLength();
    for (auto entry = parameters.FindFrom(start); entry != parameters.end(); ++entry) {
        if (!KivGuiBase::StartsWithCaseless(entry->key, start)) return;
        visit(std::string_view(entry->key).substr(length - 1), entry->value.value);
    }
}

/// @return false when memory runs out.
bool FindForms(const ParameterMap& parameters, const AnsiStr& name, Forms& forms) noexcept {
    if (const auto* entry = parameters.Find(name)) forms.plain = &entry->value.value;
    size_t count = 0;
    ForEachForm(parameters, name, [&](std::string_view suffix, const AnsiStr& value) {
        if (suffix == "*") forms.extended = &value;
        if (ParseSection(suffix, value)) ++count;
    });
    if (count == 0) return true;
    forms.sections.reset(new (std::nothrow) Section[count]);
    if (forms.sections == nullptr) {
        KivGuiBase::NoteMissingMemory();
        return false;
    }
    ForEachForm(parameters, name, [&](std::string_view suffix, const AnsiStr& value) {
        const auto section = ParseSection(suffix, value);
        if (section) forms.sections[forms.sectionCount++] = *section;
    });
    std::sort(forms.sections.get(), forms.sections.get() + forms.sectionCount);
    return true;
}

void AppendPercentDecoded(std::string_view text, TextBuilder& bytes) noexcept {
    while (!text.empty()) {
        const size_t plain = std::min(text.find('%'), text.size());
        bytes.Append(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) return;
        const unsigned byte = KivGuiBase::ReadHexEscape(text);
        bytes.Append(byte <= 0xFF ? static_cast<char>(byte) : '%');
        text.remove_prefix(byte <= 0xFF ? KivGuiBase::kHexEscapeLength : 1);
    }
}

/// Removes "charset'language'" from the start of an extended value, if it is there.
/// @return the charset; empty when there is none.
std::string_view TakeCharset(std::string_view& value) noexcept {
    const size_t charsetEnd = value.find('\'');
    if (charsetEnd == std::string_view::npos) return {};
    const size_t languageEnd = value.find('\'', charsetEnd + 1);
    if (languageEnd == std::string_view::npos) return {};
    const std::string_view charset = value.substr(0, charsetEnd);
    value.remove_prefix(languageEnd + 1);
    return charset;
}

/// A value in one of its forms.
struct Decoded {
    AnsiStr text;
    bool known = true;  ///< the charset is known
    bool hadWord = false;
};

Decoded DecodePlain(const AnsiStr& value) noexcept {
    DecodedWords words = DecodeWords(value);
    if (!words.hadWord) return {value, true, false};
    return {std::move(words.text), true, true};
}

Decoded Convert(TextBuilder& builder, std::string_view charset) noexcept {
    const AnsiStr bytes = builder.Finish();
    // Senders that leave out the charset mostly mean UTF-8. Other text is rarely valid UTF-8.
    KivGuiBase::CharsetResult converted =
        KivGuiBase::ConvertToUtf8(bytes, charset.empty() ? "utf-8" : charset);
    const bool known = converted.known;
    if (!known) converted = KivGuiBase::ConvertToUtf8(bytes, "us-ascii");
    ReplaceControls(converted.text);
    return {std::move(converted.text), known, false};
}

Decoded DecodeExtended(std::string_view value) noexcept {
    const std::string_view charset = TakeCharset(value);
    TextBuilder bytes(static_cast<unsigned>(value.size()));
    AppendPercentDecoded(value, bytes);
    return Convert(bytes, charset);
}

/// Joins the sections from number 0 to the first that is missing.
Decoded DecodeSections(const Section* section, const Section* end) noexcept {
    TextBuilder bytes;
    std::string_view charset;
    bool anyExtended = false;
    unsigned wanted = 0;
    for (; section != end && section->number <= wanted; ++section) {
        if (section->number != wanted) continue;  // the other form of the last one
        std::string_view value = section->value;
        if (section->isExtended) {
            if (wanted == 0) charset = TakeCharset(value);
            AppendPercentDecoded(value, bytes);
        } else {
            bytes.Append(value);
        }
        anyExtended = anyExtended || section->isExtended;
        ++wanted;
    }
    return anyExtended ? Convert(bytes, charset) : DecodePlain(bytes.Finish());
}

std::optional<Decoded> DecodeForms(const Forms& forms) noexcept {
    if (forms.extended != nullptr) return DecodeExtended(*forms.extended);
    const bool hasSections = forms.sectionCount != 0 && forms.sections[0].number == 0;
    if (!hasSections) return std::nullopt;
    return DecodeSections(forms.sections.get(), forms.sections.get() + forms.sectionCount);
}

Decoding::ParameterResult DecodeParameter(const ParameterMap& parameters,
                                          const AnsiStr& name) noexcept {
    Forms forms;
    Decoding::ParameterResult result;
    if (!FindForms(parameters, name, forms)) return result;
    std::optional<Decoded> used = DecodeForms(forms);
    if (forms.plain != nullptr) {
        Decoded plain = DecodePlain(*forms.plain);
        result.conflicting = used && used->text != plain.text;
        if (!used || !used->known) used = std::move(plain);
    }
    if (!used) return result;
    result.found = true;
    result.hadEncodedWord = used->hadWord;
    result.value = std::move(used->text);
    return result;
}

}  // namespace

Decoding::ParameterResult Decoding::Parameter(const ParameterMap& parameters,
                                              const AnsiStr& name) noexcept {
    return Guarded(ParameterResult(), [&] { return DecodeParameter(parameters, name); });
}

}  // namespace MIME
