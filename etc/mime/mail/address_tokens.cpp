#include "mime/mail/address_tokens.h"

#include <algorithm>
#include <optional>

#include "kivgui/ascii.h"
#include "kivgui/quoted_string.h"
#include "mime/encoding/decode_words.h"
#include "mime/foundation/char_class.h"

// One pass, without a look at what the tokens mean, with two exceptions: a "[" begins a domain literal
// only after an "@", and quotes that do not pair up.
//
// When a quote has no partner, nobody knows which one. Then the value is divided once more, and a
// quoted-string may no longer have ">" and "," in a row inside: the one that would have them is what is
// between a stray quote and the opening quote of a later entry. Values whose quotes pair up are always
// read as the RFC says.
//
// The time is linear, since nothing is searched for twice: after a quote without a partner no other one
// has one, and after the first comment that does not end, comments end with their entry.

namespace MIME {

namespace {

using Kind = AddressToken::Kind;

/// All but controls, the space and the specials (RFC 5322, 3.2.3); bytes above ASCII are of RFC 6532.
constexpr ByteSet kAtoms = ByteSet().With(0x21, 0x7E).With(0x80, 0xFF).Without("()<>[]:;@\\,.\"");

constexpr bool IsSpaceOrControl(char c) noexcept {
    return static_cast<unsigned char>(c) <= ' ' || c == '\x7F';
}

/// Is there a ">" and then, white space apart, a "," or ";"?
bool HoldsEndOfEntry(std::string_view text) noexcept {
    bool isAfterBracket = false;
    for (const char c : text) {
        if (isAfterBracket && (c == ',' || c == ';')) return true;
        isAfterBracket = c == '>' || (isAfterBracket && IsSpaceOrControl(c));
    }
    return false;
}

class Tokenizer {
public:
    /// @param areQuotesPaired  all quotes are known, or assumed, to have their partners.
    Tokenizer(std::string_view value, bool areQuotesPaired) noexcept
        : rest_(value), areQuotesPaired_(areQuotesPaired) {}

    std::vector<AddressToken> Tokenize() {
        std::vector<AddressToken> tokens;
        tokens.reserve(std::min<size_t>(rest_.size(), kUsualCount));
        for (;;) {
            const auto text = std::find_if_not(rest_.begin(), rest_.end(), IsSpaceOrControl);
            const auto spaces = static_cast<size_t>(text - rest_.begin());
            rest_.remove_prefix(spaces);
            if (rest_.empty()) return tokens;
            size_t length = 1;
            const Kind kind = Measure(length);
            tokens.push_back({kind, spaces != 0, rest_.substr(0, length)});
            rest_.remove_prefix(length);
            if (kind != Kind::comment) isAfterAt_ = tokens.back().Is('@');
        }
    }

    bool HasOpenQuote() const noexcept { return hasOpenQuote_; }

private:
    static constexpr size_t kUsualCount = 16;

    /// The kind of the token at the start of the rest. `length` is 1, and changed for other tokens.
    Kind Measure(size_t& length) noexcept {
        switch (rest_.front()) {
            case '"':
                return MeasureQuoted(length) ? Kind::quoted : Kind::mark;
            case '(':
                length = MeasureComment();
                return Kind::comment;
            case '[':
                return isAfterAt_ && MeasureLiteral(length) ? Kind::literal : Kind::mark;
            case '\\':
                length = std::min<size_t>(2, rest_.size());
                return Kind::escape;
            default:
                break;
        }
        if (!kAtoms.Has(rest_.front())) return Kind::mark;
        length = MeasureWord(0);
        if (length != 0) return Kind::word;
        length = MeasureAtom();
        return Kind::atom;
    }

    /// Up to what no atom has, or to an encoded word.
    size_t MeasureAtom() const noexcept {
        size_t length = 1;
        while (length < rest_.size() && kAtoms.Has(rest_[length])) {
            if (rest_[length] == '=' && MeasureWord(length) != 0) break;
            ++length;
        }
        return length;
    }

    bool MeasureQuoted(size_t& length) noexcept {
        if (hasOpenQuote_) return false;
        const KivGuiBase::QuotedString quoted = KivGuiBase::ScanQuotedString(rest_);
        hasOpenQuote_ = !quoted.isClosed;
        if (!quoted.isClosed) return false;
        if (!areQuotesPaired_ && HoldsEndOfEntry(quoted.inside)) return false;
        length = quoted.length;
        return true;
    }

    /// A comment, with the comments inside it. Where it does not end it reaches to the end of the
    /// entry.
    size_t MeasureComment() noexcept {
        size_t depth = 0;
        size_t entryEnd = rest_.size();
        for (size_t at = 0; at < rest_.size(); ++at) {
            const char c = rest_[at];
            if (c == '(') ++depth;
            if (c == ')' && --depth == 0) return at + 1;
            if (c == '\\') ++at;
            if (c != ',' && c != ';') continue;
            entryEnd = std::min(entryEnd, at);
            if (hasOpenComment_) break;
        }
        hasOpenComment_ = true;
        return entryEnd;
    }

    bool MeasureLiteral(size_t& length) noexcept {
        for (size_t at = 1; at < rest_.size() && rest_[at] != '['; ++at) {
            if (rest_[at] == ']') {
                length = at + 1;
                return true;
            }
            if (rest_[at] == '\\') ++at;
        }
        return false;
    }

    /// Length of the encoded word at a place of the rest; 0 when there is none. Something with an
    /// address inside is not a word: its "?=" belongs to another.
    size_t MeasureWord(size_t at) const noexcept {
        const std::string_view text = rest_.substr(at);
        if (!text.starts_with("=?")) return 0;
        const std::optional<WordText> word = ParseWord(text);
        if (!word || word->text.find_first_of("<>") != std::string_view::npos) return 0;
        const std::string_view name = text.substr(2, text.find('?', 2) - 2);  // with a language
        const bool isName =
            std::all_of(name.begin(), name.end(), [](char c) { return kAtoms.Has(c); });
        return isName ? word->length : 0;
    }

    std::string_view rest_;
    bool areQuotesPaired_;
    bool isAfterAt_ = false;
    bool hasOpenQuote_ = false;
    bool hasOpenComment_ = false;
};

}  // namespace

std::vector<AddressToken> TokenizeAddresses(std::string_view value) {
    Tokenizer tokenizer(value, true);
    std::vector<AddressToken> tokens = tokenizer.Tokenize();
    return tokenizer.HasOpenQuote() ? Tokenizer(value, false).Tokenize() : tokens;
}

bool IsAddressAtomByte(char c) noexcept {
    return kAtoms.Has(c);
}

}  // namespace MIME
