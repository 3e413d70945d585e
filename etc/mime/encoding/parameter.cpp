#include <algorithm>

#include "kivgui/ascii.h"
#include "kivgui/convert.h"
#include "kivgui/hex.h"
#include "kivgui/text_builder.h"
#include "kivgui/utf8.h"
#include "mime/foundation/char_class.h"
#include "mime/foundation/guarded.h"
#include "mime/mime.h"

// Writes one parameter in the plainest form that fits its line of 77 characters: an atom, a
// quoted-string, and else a form in several lines. That is RFC 2231: sections in quotes for ASCII,
// percent-encoded sections of whole characters for the rest. For Content-Type it is encoded words in
// a quoted-string, which RFC 2047, 5 (3) forbids but more mail programs read.
//
// A section is built in a buffer of its own, because its room depends on the digits of its number.
// Invariant: a section takes at least one byte of the value, so the loop ends.

namespace MIME {

using KivGuiBase::IsAsciiText;
using KivGuiBase::IsBlankAscii;
using KivGuiBase::kHexEscapeLength;
using KivGuiBase::MeasureUtf8Group;
using KivGuiBase::TextBuilder;
using KivGuiBase::WriteHexEscape;

namespace {

constexpr size_t kMaxLine = 77;  // one parameter, without the ";" after it
constexpr size_t kMaxName = 52;  // with the space before it
constexpr std::string_view kCharset = "utf-8''";

/// Returns true if the text has a run without white space, its blank included, that fits no line.
bool HasLongRun(std::string_view text) noexcept {
    constexpr size_t kMaxRun = 78;
    size_t run = 0;
    for (const char c : text) {
        run = IsBlankAscii(c) ? 1 : run + 1;
        if (run > kMaxRun) return true;
    }
    return false;
}

/// name="=?utf-8?Q?...?=": not what RFC 2047, 5 (3) allows, but what mail programs read.
AnsiStr MakeEncodedWordForm(std::string_view name, const AnsiStr& value) noexcept {
    const AnsiStr quoted = Encoding::Quote(Encoding::QEncode(value, HasLongRun(GetCText(value))));
    const std::string_view text = quoted;
    const auto firstBlank = std::find_if(text.begin(), text.end(), IsBlankAscii);
    const auto firstWord = static_cast<size_t>(firstBlank - text.begin());
    TextBuilder out;
    out.Append(name);
    out.Append('=');
    if (name.size() + 1 + firstWord > kMaxLine) out.Append("\r\n");
    out.Append(text);
    return out.Finish();
}

/// One section of a value that is divided into several (RFC 2231, 3): its text after the name and
/// the number.
class Section {
public:
    /// @param limit  characters it may have, room for a character of any kind included.
    explicit Section(size_t limit) noexcept : limit_(limit) {}

    std::string_view GetText() const noexcept { return {text_, used_}; }

    /// Takes as much of an ASCII value as fits, as a quoted-string.
    void FillQuoted(std::string_view& value) noexcept {
        Put("=\"");
        while (!value.empty() && used_ < limit_ - 1) {
            const char c = value.front();
            if (c == '\r' || c == '"' || c == '\\') {
                if (used_ + 2 > limit_ - 1) break;
                Put("\\");
            }
            text_[used_++] = c;
            value.remove_prefix(1);
        }
        Put("\"");
    }

    /// Takes as much of a value as fits, percent-encoded (RFC 2231, 4).
    void FillExtended(std::string_view& value, bool isFirst) noexcept {
        Put("*=");
        const size_t maxGroup = (limit_ - used_) / kHexEscapeLength;
        if (isFirst) Put(kCharset);
        while (!value.empty() && used_ < limit_) {
            const char c = value.front();
            if (kAlphanumericBytes.Has(c)) {
                text_[used_++] = c;
                value.remove_prefix(1);
            } else if (!TakeGroup(value, maxGroup)) {
                return;
            }
        }
    }

private:
    static constexpr size_t kCapacity = 80;

    void Put(std::string_view piece) noexcept {
        used_ += piece.copy(text_ + used_, kCapacity - used_);
    }

    /// Takes a UTF-8 character whole. More continuation bytes than a section can hold are not a
    /// character, and are divided at the end of the section.
    bool TakeGroup(std::string_view& value, size_t maxGroup) noexcept {
        const size_t room = (limit_ - used_) / kHexEscapeLength;
        const size_t length = MeasureUtf8Group(value, maxGroup);
        if (room == 0 || (length > room && length <= maxGroup)) return false;
        const size_t taken = std::min(length, room);
        for (const char c : value.substr(0, taken)) {
            used_ = static_cast<size_t>(WriteHexEscape('%', c, text_ + used_) - text_);
        }
        value.remove_prefix(taken);
        return true;
    }

    char text_[kCapacity];
    size_t used_ = 0;
    size_t limit_;
};

AnsiStr MakeExtendedForm(std::string_view name, std::string_view value) noexcept {
    const bool isAscii = IsAsciiText(value);
    TextBuilder out;
    for (unsigned index = 0;; ++index) {
        char digits[12];
        const std::string_view number = KivGuiBase::UInt2Str(digits, index);
        Section section(kMaxLine - 1 - name.size() - number.size());
        if (isAscii) {
            section.FillQuoted(value);
        } else {
            section.FillExtended(value, index == 0);
        }
        const bool isOneOfSeveral = index != 0 || !value.empty();
        if (isOneOfSeveral) out.Append("\r\n");
        out.Append(name);
        if (isOneOfSeveral) {
            out.Append('*');
            out.Append(number);
        }
        out.Append(section.GetText());
        if (value.empty()) return out.Finish();
        out.Append(';');
    }
}

AnsiStr MakeParameter(const AnsiStr& name, const AnsiStr& value, bool useEncodedWords) noexcept {
    TextBuilder spacedName;
    spacedName.Append(' ');
    spacedName.Append(GetCText(name));
    const AnsiStr nameText = spacedName.Finish();
    const std::string_view text = GetCText(value);
    if (nameText.IsEmpty() || nameText.GetLength() > kMaxName) return {};

    const size_t room = kMaxLine - nameText.GetLength() - 1;
    const auto assign = [&nameText](std::string_view written) {
        TextBuilder out;
        out.Append(nameText);
        out.Append('=');
        out.Append(written);
        return out.Finish();
    };
    if (text.size() <= room && Encoding::IsAtom(value)) return assign(text);
    if (text.size() <= room && IsAsciiText(text)) {
        const AnsiStr quoted = Encoding::Quote(value);
        if (quoted.GetLength() <= room) return assign(quoted);
    }
    return useEncodedWords ? MakeEncodedWordForm(nameText, value)
                           : MakeExtendedForm(nameText, text);
}

}  // namespace

AnsiStr Encoding::EncodeParameter(const AnsiStr& name, const AnsiStr& value,
                                  bool useEncodedWords) noexcept {
    return Guarded(AnsiStr(), [&] { return MakeParameter(name, value, useEncodedWords); });
}

}  // namespace MIME
