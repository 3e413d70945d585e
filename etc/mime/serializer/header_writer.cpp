#include <algorithm>

#include "kivgui/ascii.h"
#include "kivgui/text_builder.h"
#include "mime/foundation/guarded.h"
#include "mime/mime.h"

// Writes a header block field by field: value text, parameters, then folding of the whole field. What
// makes a value safe are its encoders: QEncode leaves no CR, LF or byte above 0x7F, and FoldHeader
// begins every further line with white space, so no value can begin a field of its own.

namespace MIME {

using KivGuiBase::TextBuilder;

namespace {

constexpr char kMimeVersion[] = "Mime-Version";

bool IsName(const AnsiStr& name, std::string_view wanted) noexcept {
    return KivGuiBase::EqualsCaseless(GetCText(name), wanted);
}

bool IsAddressField(const AnsiStr& name) noexcept {
    constexpr std::string_view kNames[] = {"From", "Reply-To", "Sender", "To", "Cc", "Bcc"};
    return std::any_of(std::begin(kNames), std::end(kNames),
                       [&name](std::string_view wanted) { return IsName(name, wanted); });
}

bool IsContentField(const AnsiStr& name) noexcept {
    return KivGuiBase::StartsWithCaseless(GetCText(name), "Content-");
}

/// The mailboxes of an address list, one per line; empty when there is none.
AnsiStr MakeMailboxLines(const AnsiStr& value) noexcept {
    TextBuilder lines;
    for (MailboxParser mailboxes(value); mailboxes.ToNext();) {
        if (!lines.IsEmpty()) lines.Append(",\r\n ");
        lines.Append(mailboxes.GetMailbox());
    }
    return lines.Finish();
}

AnsiStr MakeValueText(const AnsiStr& name, const AnsiStr& value) noexcept {
    const AnsiStr mailboxes = IsAddressField(name) ? MakeMailboxLines(value) : AnsiStr();
    return mailboxes.IsEmpty() ? Encoding::QEncode(value, false) : mailboxes;
}

/// Appends one field, folded.
void AppendField(TextBuilder& block, std::string_view name, const AnsiStr& valueText,
                 const AnsiStr& parameters) noexcept {
    TextBuilder line;
    line.Append(name);
    line.Append(": ");
    line.Append(valueText);
    line.Append(parameters);
    block.Append(Encoding::FoldHeader(line.Finish()));
}

}  // namespace

AnsiStr HeaderMap::Serialize(bool contentOnly, bool skipContent) const noexcept {
    return Guarded(AnsiStr(), [&] {
        constexpr unsigned kUsualBlock = 10000;
        TextBuilder block(kUsualBlock);
        const Node* version = skipContent ? nullptr : Find(kMimeVersion);
        if (version != nullptr && !version->value.value.IsEmpty()) {
            AppendField(block, kMimeVersion, Encoding::QEncode(version->value.value, false),
                        version->value.parameters.Serialize(false));
        }
        for (const Node& field : *this) {
            if (field.value.value.IsEmpty() || IsName(field.key, kMimeVersion)) continue;
            if (IsContentField(field.key) ? skipContent : contentOnly) continue;
            AppendField(block, field.key, MakeValueText(field.key, field.value.value),
                        field.value.parameters.Serialize(IsName(field.key, "Content-Type")));
        }
        return block.Finish();
    });
}

AnsiStr ParameterMap::Serialize(bool useEncodedWords) const noexcept {
    return Guarded(AnsiStr(), [&] {
        TextBuilder tail;
        for (const Node& parameter : *this) {
            tail.Append(';');
            tail.Append(parameter.value.Serialize(parameter.key, useEncodedWords));
        }
        return tail.Finish();
    });
}

AnsiStr ParameterValue::Serialize(const AnsiStr& name, bool useEncodedWords) const noexcept {
    if (!raw) return Encoding::EncodeParameter(name, value, useEncodedWords);
    return Guarded(AnsiStr(), [&] { return AnsiStr(" ") + name + AnsiStr("=") + value; });
}

}  // namespace MIME
