#include "mime/writing/field_text.h"

#include <algorithm>

#include "kivgui/ascii.h"
#include "mime/mail/header_fields.h"
#include "mime/mail/shown_text.h"
#include "mime/parser/fields.h"
#include "mime/writing/encoded_words.h"
#include "mime/writing/field_lines.h"
#include "mime/writing/parameter_list.h"
#include "mime/writing/write_failure.h"

// A text is divided at its single blanks, where lines may end. Only the words that need it are encoded,
// with the blanks between two of them: so what programs compare, and people search for, stays bare.
// Tabs and blanks in a row are parts of words, for programs that make one blank of a fold. So are those at
// the ends, which programs remove.

namespace MIME {

using KivGuiBase::EqualsCaseless;
using KivGuiBase::IsAsciiText;
using KivGuiBase::IsBlankAscii;
using KivGuiBase::StartsWithCaseless;

// -------------------------------------------------------------------------------------- texts --

namespace {

/// Takes the text up to a single blank, and that blank.
std::string_view TakeWord(std::string_view& rest) noexcept {
    size_t end = 1;
    for (; end + 1 < rest.size(); ++end) {
        const bool isSingle = !IsBlankAscii(rest[end - 1]) && !IsBlankAscii(rest[end + 1]);
        if (rest[end] == ' ' && isSingle) break;
    }
    const bool isLast = end + 1 >= rest.size();
    const std::string_view word = isLast ? rest : rest.substr(0, end);
    rest.remove_prefix(isLast ? rest.size() : end + 1);
    return word;
}

bool MustBeEncoded(std::string_view word) noexcept {
    return !IsAsciiText(word) || word.size() > FieldLines::kMaxWord || IsBlankAscii(word.front()) ||
           IsBlankAscii(word.back()) || word.find("=?") != std::string_view::npos;
}

void AddEncoded(FieldLines& lines, std::string_view text) {
    constexpr size_t kWorthwhile = 40;  // less room than this is left to a short word
    if (text.empty()) return;
    const bool isRoomUsed = lines.IsEmpty() || lines.GetRoom() >= kWorthwhile;
    const size_t firstRoom = isRoomUsed ? lines.GetRoom() : FieldLines::GetFullRoom();
    for (const std::string& word : MakeEncodedWords(text, firstRoom, FieldLines::GetFullRoom())) {
        lines.Add(word);
    }
}

/// A field that programs read: only its folds are ours.
std::string WriteAsciiField(std::string_view name, std::string_view value,
                            std::string_view lineEnd) {
    CheckFieldText(name, value);
    if (!IsAsciiText(value)) FailField(ErrorCode::badField, name, "may have ASCII characters only");
    FieldLines lines(name, lineEnd);
    for (std::string_view rest = KivGuiBase::TrimSpace(value); !rest.empty();) {
        const std::string_view word = TakeWord(rest);
        if (word.size() > FieldLines::kMaxWord) {
            FailField(ErrorCode::badField, name, "has a word that is too long for a line");
        }
        lines.Add(word);
    }
    return lines.Finish();
}

}  // namespace

std::string WriteTextField(std::string_view name, std::string_view value,
                           std::string_view lineEnd) {
    FieldLines lines(name, lineEnd);
    CheckFieldText(name, value);
    std::string_view encoded;  // words in a row, with the blanks between them
    for (std::string_view rest = value; !rest.empty();) {
        const std::string_view word = TakeWord(rest);
        if (MustBeEncoded(word)) {
            const char* const start = encoded.empty() ? word.data() : encoded.data();
            encoded = {start, static_cast<size_t>(word.data() + word.size() - start)};
            continue;
        }
        AddEncoded(lines, encoded);
        encoded = {};
        lines.Add(word);
    }
    AddEncoded(lines, encoded);
    return lines.Finish();
}

// ----------------------------------------------------------------------- identifiers and dates --

namespace {

bool IsIdText(std::string_view text) noexcept {
    return std::ranges::all_of(text,
                               [](char c) { return c > ' ' && c <= '~' && c != '<' && c != '>'; });
}

/// Fields that name this message or entity. Others name those of other senders, who may have left
/// out the "@".
bool NamesItself(std::string_view field) noexcept {
    return EqualsCaseless(field, "Message-ID") || EqualsCaseless(field, "Resent-Message-ID") ||
           EqualsCaseless(field, "Content-ID");
}

void CheckId(std::string_view field, std::string_view id) {
    const size_t at = id.find('@');
    const bool isDivided = at != std::string_view::npos && at != 0 && at + 1 != id.size() &&
                           id.find('@', at + 1) == std::string_view::npos;
    // Some programs decode encoded words even in an identifier.
    const bool isBare = IsIdText(id) && id.find("=?") == std::string_view::npos;
    if (id.empty() || id.size() > FieldLines::kMaxWord || !isBare ||
        (NamesItself(field) && !isDivided)) {
        FailField(ErrorCode::badField, field, id, "is not an identifier like \"left@right\"");
    }
}

}  // namespace

std::string WriteIdField(std::string_view name, std::span<const std::string> ids,
                         std::string_view lineEnd) {
    FieldLines lines(name, lineEnd);
    if (ids.empty()) FailField(ErrorCode::badField, name, "has no identifier");
    if (ids.size() > 1 && NamesItself(name)) {
        FailField(ErrorCode::badField, name, "has more than one identifier");
    }
    for (const std::string& id : ids) {
        const std::string_view bare = TrimBrackets(id);
        const std::string_view whole = KivGuiBase::TrimSpace(id);
        CheckId(name, whole.starts_with('<') == whole.ends_with('>') ? bare : whole);
        lines.Add(std::string("<").append(bare).append(">"));
    }
    return lines.Finish();
}

std::string WriteDateField(std::string_view name, const Date& date, std::string_view lineEnd) {
    using namespace std::chrono;
    constexpr sys_seconds kFirst = sys_days(1900y / January / 2);  // RFC 5322, 3.3
    constexpr sys_seconds kLast = sys_days(9999y / December / 31);
    FieldLines lines(name, lineEnd);
    const bool isInRange = date.time >= kFirst && date.time < kLast && abs(date.offset) < 24h;
    const std::string text = isInRange ? date.Format() : std::string();
    // An unknown zone has no offset: it would be written as a known one.
    if (Date::Parse(text) != date) FailField(ErrorCode::badDate, name, "cannot be written");
    std::string_view rest = text;
    while (!rest.empty()) lines.Add(TakeWord(rest));
    return lines.Finish();
}

// --------------------------------------------------------------------------- fields of any name --

void CheckFieldName(std::string_view name) {
    constexpr size_t kMaxName = 76;
    const auto isNameByte = [](char c) { return c > ' ' && c <= '~' && c != ':'; };
    if (!name.empty() && name.size() <= kMaxName && std::ranges::all_of(name, isNameByte)) return;
    Fail(ErrorCode::badField,
         "\"" + ShowOnOneLine(name.substr(0, kMaxName)) + "\": is not the name of a field");
}

namespace {

enum class FieldForm { text, mailboxes, ids, date, parameters, ascii };

struct FormRow {
    std::string_view name;
    FieldForm form;
};

constexpr FormRow kForms[] = {
    {"Resent-Reply-To", FieldForm::mailboxes},
    {"Return-Receipt-To", FieldForm::mailboxes},
    {"Errors-To", FieldForm::mailboxes},
    {"Mail-Followup-To", FieldForm::mailboxes},
    {"Mail-Reply-To", FieldForm::mailboxes},
    {"Message-ID", FieldForm::ids},
    {"Resent-Message-ID", FieldForm::ids},
    {"Content-ID", FieldForm::ids},
    {"In-Reply-To", FieldForm::ids},
    {"References", FieldForm::ids},
    {"Date", FieldForm::date},
    {"Resent-Date", FieldForm::date},
    {"Content-Type", FieldForm::parameters},
    {"Content-Disposition", FieldForm::parameters},
    {"Content-Transfer-Encoding", FieldForm::parameters},
    {"Content-Location", FieldForm::ascii},
    {"MIME-Version", FieldForm::ascii},
    {"Received", FieldForm::ascii},
    {"Received-SPF", FieldForm::ascii},
    {"Return-Path", FieldForm::ascii},
    {"Delivered-To", FieldForm::ascii},
    {"DKIM-Signature", FieldForm::ascii},
    {"Authentication-Results", FieldForm::ascii},
    {"Autocrypt", FieldForm::ascii},
    {"Auto-Submitted", FieldForm::ascii},
};

FieldForm GetForm(std::string_view name) noexcept {
    if (HoldsAddresses(name)) return FieldForm::mailboxes;
    if (StartsWithCaseless(name, "ARC-") || StartsWithCaseless(name, "List-")) {
        return FieldForm::ascii;
    }
    const auto* const row = std::ranges::find_if(
        kForms, [name](const FormRow& r) { return EqualsCaseless(r.name, name); });
    return row != std::end(kForms) ? row->form : FieldForm::text;
}

std::string WriteIds(std::string_view name, std::string_view value, std::string_view lineEnd) {
    // What SplitIdentifiers would leave out is text between identifiers.
    std::string seen;
    const std::vector<std::string> ids = SplitIdentifiers(value);
    const bool hasBrackets = value.find('<') != std::string_view::npos;
    for (const std::string& id : ids) seen += hasBrackets ? "<" + id + ">" : id;
    const auto rest = std::ranges::count_if(value, [](char c) { return !IsBlankAscii(c); });
    if (static_cast<size_t>(rest) != seen.size()) {
        FailField(ErrorCode::badField, name, value, "has more than identifiers");
    }
    return WriteIdField(name, ids, lineEnd);
}

}  // namespace

std::string WriteField(std::string_view name, std::string_view value, std::string_view lineEnd) {
    CheckFieldName(name);
    CheckFieldText(name, value);
    switch (GetForm(name)) {
        case FieldForm::mailboxes:
            return WriteMailboxField(name, ReadMailboxes(name, value), lineEnd);
        case FieldForm::ids:
            return WriteIds(name, value, lineEnd);
        case FieldForm::date: {
            const std::optional<Date> date = Date::Parse(value);
            if (!date) FailField(ErrorCode::badDate, name, value, "is not a date");
            return WriteDateField(name, *date, lineEnd);
        }
        case FieldForm::parameters: {
            const ParameterList list = ReadParameterList(name, value);
            return WriteParameterField(name, list.value, list.parameters, lineEnd);
        }
        case FieldForm::ascii:
            return WriteAsciiField(name, value, lineEnd);
        case FieldForm::text:
            break;
    }
    return WriteTextField(name, value, lineEnd);
}

}  // namespace MIME
