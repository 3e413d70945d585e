#include <algorithm>

#include "kivgui/ascii.h"
#include "kivgui/hex.h"
#include "kivgui/text_builder.h"
#include "kivgui/utf8.h"
#include "mime/foundation/char_class.h"
#include "mime/foundation/guarded.h"
#include "mime/mime.h"

// Fills encoded words one after another, each up to 75 characters (RFC 2047, 2). A UTF-8 character is
// never divided (5): it moves to the next word when it does not fit. What is no character, because
// more continuation bytes follow than a word can hold, is divided at the end of the word, so every
// word takes at least one byte and the loop ends.

namespace MIME {

using KivGuiBase::IsAscii;
using KivGuiBase::kHexEscapeLength;
using KivGuiBase::MeasureUtf8Group;
using KivGuiBase::TextBuilder;
using KivGuiBase::WriteHexEscape;

namespace {

constexpr std::string_view kWordStart = "=?utf-8?Q?";
constexpr std::string_view kWordEnd = "?=";
constexpr size_t kMaxWord = 75;  // RFC 2047, 2
constexpr size_t kMaxText = kMaxWord - kWordStart.size() - kWordEnd.size();

/// One encoded word while it is filled.
class EncodedWord {
public:
    /// Takes what fits from the start of `text`, which is not empty: at least one byte.
    void Fill(std::string_view& text) noexcept {
        while (!text.empty() && used_ < kMaxText) {
            const char c = text.front();
            if (c == ' ' || kEncodedWordBytes.Has(c)) {
                text_[used_++] = c == ' ' ? '_' : c;
                text.remove_prefix(1);
            } else if (!TakeGroup(text)) {
                return;
            }
        }
    }

    void AppendTo(TextBuilder& out) const noexcept {
        if (!out.IsEmpty()) out.Append(' ');
        out.Append(kWordStart);
        out.Append(std::string_view(text_, used_));
        out.Append(kWordEnd);
    }

private:
    static constexpr size_t kMaxGroup = kMaxText / kHexEscapeLength;

    /// Takes a UTF-8 character whole (RFC 2047, 5). More continuation bytes than a word can hold are
    /// not a character, and are divided at the end of the word.
    bool TakeGroup(std::string_view& text) noexcept {
        const size_t room = (kMaxText - used_) / kHexEscapeLength;
        const size_t length = MeasureUtf8Group(text, kMaxGroup);
        if (length > room && (length <= kMaxGroup || used_ != 0)) return false;
        for (const char c : text.substr(0, std::min(length, room))) {
            used_ = static_cast<size_t>(WriteHexEscape('=', c, text_ + used_) - text_);
        }
        text.remove_prefix(std::min(length, room));
        return true;
    }

    char text_[kMaxText];
    size_t used_ = 0;
};

}  // namespace

AnsiStr Encoding::QEncode(const AnsiStr& text, bool force) noexcept {
    std::string_view rest = GetCText(text);
    const auto mustBeEncoded = [](char c) { return !IsAscii(c) || c == '\r' || c == '\n'; };
    if (!force && std::none_of(rest.begin(), rest.end(), mustBeEncoded)) return text;
    return Guarded(AnsiStr(), [&] {
        TextBuilder words;
        while (!rest.empty()) {
            EncodedWord word;
            word.Fill(rest);
            word.AppendTo(words);
        }
        return words.Finish();
    });
}

}  // namespace MIME
