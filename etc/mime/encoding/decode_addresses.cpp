#include <algorithm>
#include <utility>

#include "kivgui/ascii.h"
#include "kivgui/convert.h"
#include "kivgui/quoted_string.h"
#include "kivgui/text_builder.h"
#include "kivgui/utf8.h"
#include "mime/encoding/decode_words.h"
#include "mime/foundation/char_class.h"

namespace MIME {

using KivGuiBase::IsAscii;
using KivGuiBase::TextBuilder;

namespace {

/// Length of a quoted-string at the start of a text, quotes included; npos when it does not end.
size_t MeasureQuoted(std::string_view text) noexcept {
    const KivGuiBase::QuotedString quoted = KivGuiBase::ScanQuotedString(text);
    return quoted.isClosed ? quoted.length : std::string_view::npos;
}

/// The same for a comment, with those inside it.
size_t MeasureComment(std::string_view text) noexcept {
    size_t depth = 0;
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '(') ++depth;
        if (text[at] == ')' && --depth == 0) return at + 1;
        if (text[at] == '\\') ++at;
    }
    return std::string_view::npos;
}

/// The same for an address in angle brackets, whose local part may be quoted.
size_t MeasureAngleAddress(std::string_view text) noexcept {
    for (size_t at = 1; at < text.size(); ++at) {
        if (text[at] == '>') return at + 1;
        if (text[at] != '"') continue;
        const size_t quoted = MeasureQuoted(text.substr(at));
        if (quoted == std::string_view::npos) return text.find('>', at) + 1;  // npos + 1 is 0
        at += quoted - 1;
    }
    return 0;
}

/// Length of the encoded word at the start of a text; 0 when there is none. One that seems to run
/// over an address is none: its "?=" is another's.
size_t MeasureWord(std::string_view text) noexcept {
    if (!text.starts_with("=?")) return 0;
    const std::optional<WordText> word = ParseWord(text);
    const bool holdsAddress = word && word->text.find_first_of("<>") != std::string_view::npos;
    return word && !holdsAddress ? word->length : 0;
}

/// May a display name stand as it is, without quotes? Spaces that readers do not keep may not.
bool MayStandBare(std::string_view name) noexcept {
    if (name.starts_with(' ') || name.ends_with(' ')) return false;
    if (name.find("  ") != std::string_view::npos) return false;
    return std::all_of(name.begin(), name.end(),
                       [](char c) { return c == ' ' || !IsAscii(c) || kAtomBytes.Has(c); });
}

class AddressDecoder {
public:
    explicit AddressDecoder(std::string_view text) noexcept
        : rest_(text), out_(static_cast<unsigned>(text.size())) {}

    AnsiStr Decode() noexcept {
        while (!rest_.empty()) {
            const size_t phrase = MeasurePhrase();
            const bool isName =
                phrase < rest_.size() && (rest_[phrase] == '<' || rest_[phrase] == ':');
            TakePhrase(rest_.substr(0, phrase), isName);
            rest_.remove_prefix(phrase);
            if (!rest_.empty()) TakeDelimiter();
        }
        return out_.Finish();
    }

private:
    /// What stands before the next delimiter: a phrase, or a bare address.
    size_t MeasurePhrase() noexcept {
        hasAtSign_ = false;
        for (size_t at = 0; at < rest_.size();) {
            const char c = rest_[at];
            if (std::string_view("<(,;:").find(c) != std::string_view::npos) return at;
            size_t length = 1;
            if (c == '"') {
                length = MeasureQuoted(rest_.substr(at));
                if (length == std::string_view::npos) return rest_.size();
            } else if (c == '=') {
                length = std::max<size_t>(MeasureWord(rest_.substr(at)), 1);
            } else if (c == '@') {
                hasAtSign_ = true;
            }
            at += length;
        }
        return rest_.size();
    }

    /// @param isName  a phrase must it be, whatever is in it.
    void TakePhrase(std::string_view phrase, bool isName) noexcept {
        const auto isText = [](char c) { return !IsLinearSpace(c); };
        const auto first = std::find_if(phrase.begin(), phrase.end(), isText);
        const auto start = static_cast<size_t>(first - phrase.begin());
        out_.Append(phrase.substr(0, start));
        phrase.remove_prefix(start);
        size_t length = phrase.size();
        while (length != 0 && IsLinearSpace(phrase[length - 1])) --length;
        if ((hasAtSign_ && !isName) || !PutName(phrase.substr(0, length))) {
            out_.Append(phrase.substr(0, length));
        }
        out_.Append(phrase.substr(length));
    }

    /// Writes a phrase that holds encoded words. @return false when it holds none.
    bool PutName(std::string_view phrase) noexcept {
        if (phrase.find("=?") == std::string_view::npos) return false;
        TextBuilder name;
        bool hadWord = false;
        bool hadQuotes = false;
        while (!phrase.empty()) {
            const size_t quoted = phrase.front() == '"' ? MeasureQuoted(phrase) : 0;
            if (quoted == std::string_view::npos) return false;
            const size_t length = quoted != 0 ? quoted : MeasureBare(phrase);
            AnsiStr part(phrase.substr(0, length));
            if (quoted != 0) part = KivGuiBase::ExtendedUnQuote(part);
            const DecodedWords decoded = DecodeWords(part);
            name.Append(decoded.hadWord ? decoded.text : part);
            hadWord = hadWord || decoded.hadWord;
            hadQuotes = hadQuotes || quoted != 0;
            phrase.remove_prefix(length);
        }
        if (!hadWord) return false;
        AnsiStr text = name.Finish();
        ReplaceControls(text);
        out_.Append(hadQuotes || !MayStandBare(text) ? Encoding::Quote(text) : text);
        return true;
    }

    /// Length of what comes before the next quoted-string.
    static size_t MeasureBare(std::string_view phrase) noexcept {
        size_t at = 0;
        while (at < phrase.size() && phrase[at] != '"') {
            at += std::max<size_t>(MeasureWord(phrase.substr(at)), 1);
        }
        return at;
    }

    void TakeDelimiter() noexcept {
        size_t length = 1;
        if (rest_.front() == '<') {
            length = MeasureAngleAddress(rest_);
            if (length == 0) length = rest_.size();
        } else if (rest_.front() == '(') {
            length = MeasureComment(rest_);
            if (length != std::string_view::npos) {
                PutComment(rest_.substr(0, length));
                rest_.remove_prefix(length);
                return;
            }
            length = rest_.size();
        }
        out_.Append(rest_.substr(0, length));
        rest_.remove_prefix(length);
    }

    /// Decodes the texts between the parentheses and escapes of a comment.
    void PutComment(std::string_view comment) noexcept {
        while (!comment.empty()) {
            const size_t length = std::min(comment.find_first_of("()\\"), comment.size());
            PutCommentText(comment.substr(0, length));
            comment.remove_prefix(length);
            const std::string_view mark = comment.substr(0, comment.starts_with('\\') ? 2 : 1);
            out_.Append(mark);
            comment.remove_prefix(mark.size());
        }
    }

    void PutCommentText(std::string_view text) noexcept {
        const DecodedWords decoded = DecodeWords(text);
        if (!decoded.hadWord) return out_.Append(text);
        for (const char c : std::string_view(decoded.text)) {
            if (c == '(' || c == ')' || c == '\\') out_.Append('\\');
            out_.Append(c);
        }
    }

    std::string_view rest_;
    TextBuilder out_;
    bool hasAtSign_ = false;  ///< the phrase has one outside quotes and words
};

}  // namespace

AnsiStr Decoding::AddressWords(const AnsiStr& text) noexcept {
    const std::string_view view = text;
    if (view.find("=?") == std::string_view::npos) return text;
    return AddressDecoder(view).Decode();
}

}  // namespace MIME
