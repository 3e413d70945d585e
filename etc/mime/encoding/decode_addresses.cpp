#include <algorithm>
#include <utility>

#include "kivgui/ascii.h"
#include "kivgui/convert.h"
#include "kivgui/quoted_string.h"
#include "kivgui/text_builder.h"
#include "kivgui/utf8.h"
#include "mime/encoding/decode_words.h"
#include "mime/foundation/char_class.h"
#include "mime/foundation/guarded.h"

// Decodes the encoded words of an address list in one pass (RFC 5322, 3.4; RFC 2047, 5). The list is
// cut at its delimiters "<", "(", ",", ";" and ":", those inside quoted-strings and words excepted.
// What precedes a delimiter is a phrase, unless it has an "@", which makes it an address and leaves it
// alone. Everything that holds no decodable word is copied byte for byte, folds included.
//
// Each measuring function looks ahead within one construct. An unclosed comment, or quoted-string in
// a phrase, reaches to the end of the list and ends the pass; one in angle brackets does not, and is
// remembered instead (hasOpenQuote_). So the time is linear.
//
// Departures from RFC 2047:
//  1. Words in quoted-strings are decoded (5 (3) forbids them): many senders write them.
//  2. A word next to other text of a phrase needs no white space (5 (3)).
//  3. What looks like a word but has "<" or ">" inside is none: its "?=" belongs to another.

namespace MIME {

using KivGuiBase::IsAscii;
using KivGuiBase::TextBuilder;

namespace {

/// Length of a quoted-string at the start of a text, quotes included; npos when it does not end.
size_t MeasureQuoted(std::string_view text) noexcept {
    const KivGuiBase::QuotedString quoted = KivGuiBase::ScanQuotedString(text);
    return quoted.isClosed ? quoted.length : std::string_view::npos;
}

/// The same for a comment, with the comments inside it.
size_t MeasureComment(std::string_view text) noexcept {
    size_t depth = 0;
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '(') ++depth;
        if (text[at] == ')' && --depth == 0) return at + 1;
        if (text[at] == '\\') ++at;
    }
    return std::string_view::npos;
}

/// Length of the encoded word at the start of a text; 0 when there is none. Something with an address
/// inside is not a word: its "?=" belongs to another.
size_t MeasureWord(std::string_view text) noexcept {
    if (!text.starts_with("=?")) return 0;
    const std::optional<WordText> word = ParseWord(text);
    const bool holdsAddress = word && word->text.find_first_of("<>") != std::string_view::npos;
    return word && !holdsAddress ? word->length : 0;
}

/// Returns true if a display name needs no quotes. One with spaces that readers drop needs them.
bool IsPhrase(std::string_view name) noexcept {
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
    /// Length of what precedes the next delimiter: a phrase, or a bare address.
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

    /// @param isName  it is a display name, even with an "@" inside.
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

    /// Writes a phrase that has encoded words. @return false, with nothing written, when it has none.
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
        out_.Append(hadQuotes || !IsPhrase(text) ? Encoding::Quote(text) : text);
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

    /// Length of the address in angle brackets, whose local part may be quoted, at the start of the
    /// rest; all of the rest when it does not end.
    size_t MeasureAngleAddress() noexcept {
        for (size_t at = 1; at < rest_.size(); ++at) {
            if (rest_[at] == '>') return at + 1;
            if (rest_[at] != '"') continue;
            const size_t quoted =
                hasOpenQuote_ ? std::string_view::npos : MeasureQuoted(rest_.substr(at));
            if (quoted == std::string_view::npos) {
                hasOpenQuote_ = true;
                return std::min(rest_.find('>', at), rest_.size() - 1) + 1;
            }
            at += quoted - 1;
        }
        return rest_.size();
    }

    void TakeDelimiter() noexcept {
        size_t length = 1;
        if (rest_.front() == '<') {
            length = MeasureAngleAddress();
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
    /// A quoted-string was not closed. Then no later one is either: its scan would see the same bytes
    /// escaped as the scan that reached the end, so it need not be made, and the pass stays linear.
    bool hasOpenQuote_ = false;
};

}  // namespace

AnsiStr Decoding::AddressWords(const AnsiStr& text) noexcept {
    const std::string_view view = text;
    if (view.find("=?") == std::string_view::npos) return text;
    return Guarded(AnsiStr(), [view] { return AddressDecoder(view).Decode(); });
}

}  // namespace MIME
