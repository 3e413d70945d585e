#include "mime/mail/address_text.h"

#include <algorithm>

#include "kivgui/charset.h"
#include "kivgui/quoted_string.h"
#include "kivgui/utf8.h"
#include "mime/encoding/decode_words.h"

// Encoded words are decoded before escapes are taken out, in the texts between the escapes. So what looks
// like a word can be written as "=\?", and an escape in a decoded text is none.

namespace MIME {

namespace {

using Kind = AddressToken::Kind;

constexpr std::string_view kWordStart = "=?";

constexpr bool IsControl(char c) noexcept {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7F';
}

/// Text of a field as UTF-8: what is not UTF-8 is read as windows-1252.
std::string ToUtf8(std::string text) {
    if (KivGuiBase::IsUtf8Text(text)) return text;
    std::string converted;
    const auto measureValid = [](std::string_view rest) {
        size_t length = 0;
        while (length < rest.size()) {
            const unsigned character = KivGuiBase::MeasureUtf8(rest.substr(length));
            if (character == 0) break;
            length += character;
        }
        return length;
    };
    for (std::string_view rest = text; !rest.empty();) {
        const size_t valid = measureValid(rest);
        converted += rest.substr(0, valid);
        rest.remove_prefix(valid);
        size_t other = 0;
        while (other < rest.size() && KivGuiBase::MeasureUtf8(rest.substr(other)) == 0) ++other;
        const auto result = KivGuiBase::ConvertToUtf8(rest.substr(0, other), "windows-1252");
        converted += std::string_view(result.text);
        rest.remove_prefix(other);
    }
    return converted;
}

/// The text without the CR LF of folds (RFC 5322, 2.2.3).
std::string Unfold(std::string_view text) {
    if (text.find_first_of("\r\n") == std::string_view::npos) return std::string(text);
    std::string unfolded;
    for (size_t at = 0; at < text.size(); ++at) {
        const bool isLineEnd = text[at] == '\r' || text[at] == '\n';
        if (!isLineEnd || at + 1 == text.size() || !IsLinearSpace(text[at + 1])) {
            unfolded += text[at];
        }
    }
    return unfolded;
}

/// Collects a display name.
class NameBuilder {
public:
    /// Text as it is, without its encoded words decoded.
    void AppendPlain(std::string_view text) { name_ += text; }

    void AppendDecoded(std::string_view text) {
        const DecodedWords decoded = DecodeWords(text);
        name_ += decoded.hadWord ? std::string_view(decoded.text) : text;
    }

    /// The inside of a quoted-string or comment.
    void AppendEscaped(std::string_view inside) {
        const std::string text = Unfold(inside);
        for (std::string_view rest = text; !rest.empty();) {
            const size_t plain = std::min(rest.find('\\'), rest.size());
            AppendDecoded(rest.substr(0, plain));
            rest.remove_prefix(plain);
            if (rest.empty()) break;
            AppendPlain(rest.size() > 1 ? rest.substr(1, 1) : rest);
            rest.remove_prefix(std::min<size_t>(2, rest.size()));
        }
    }

    void AppendSpace() {
        if (!name_.empty() && name_.back() != ' ') name_ += ' ';
    }

    std::string Finish() {
        std::replace_if(name_.begin(), name_.end(), IsControl, ' ');
        const size_t first = std::min(name_.find_first_not_of(' '), name_.size());
        name_.erase(name_.find_last_not_of(' ') + 1);
        name_.erase(0, first);
        return ToUtf8(std::move(name_));
    }

private:
    std::string name_;
};

/// Returns true if a token of a name gives no text of its own.
bool IsSilent(const AddressToken& token) noexcept {
    return token.Is('"') || token.Is('<') || token.Is('>') || token.Is(':');
}

std::string Quote(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\' || (c == '?' && quoted.back() == '=')) quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

/// dot-atom-text (RFC 5322, 3.2.3) that cannot be taken for an encoded word.
bool IsDotAtom(std::string_view text) noexcept {
    return !text.empty() && text.front() != '.' && text.back() != '.' &&
           text.find("..") == std::string_view::npos &&
           text.find(kWordStart) == std::string_view::npos &&
           std::all_of(text.begin(), text.end(),
                       [](char c) { return c == '.' || IsAddressAtomByte(c); });
}

/// Atoms with single spaces between them.
bool IsPhrase(std::string_view text) noexcept {
    return !text.empty() && text.front() != ' ' && text.back() != ' ' &&
           text.find("  ") == std::string_view::npos &&
           text.find(kWordStart) == std::string_view::npos &&
           std::all_of(text.begin(), text.end(),
                       [](char c) { return c == ' ' || IsAddressAtomByte(c); });
}

/// A domain literal without white space. A blank that has a backslash is dropped with it, which would
/// otherwise belong to the next character.
std::string DropSpaces(std::string_view literal) {
    std::string text;
    for (size_t i = 0; i < literal.size(); ++i) {
        const bool isPair = literal[i] == '\\' && i + 1 < literal.size();
        if (isPair) ++i;
        if (IsLinearSpace(literal[i])) continue;
        if (isPair) text += '\\';
        text += literal[i];
    }
    return text;
}

}  // namespace

std::string MakeDisplayName(AddressTokens tokens) {
    NameBuilder name;
    std::string bare;  // atoms and words in a row, whose words are decoded together
    bool isSpaced = false;
    const auto endBare = [&] {
        name.AppendDecoded(bare);
        bare.clear();
    };
    for (const AddressToken& token : tokens) {
        isSpaced = isSpaced || token.isSpaced || token.Is(Kind::comment);
        if (token.Is(Kind::comment) || IsSilent(token)) continue;
        const bool isBare = !token.Is(Kind::quoted) && !token.Is(Kind::escape);
        if (!isBare) endBare();
        if (isSpaced) {
            if (bare.empty()) {
                name.AppendSpace();
            } else {
                bare += ' ';
            }
        }
        isSpaced = false;
        if (isBare) {
            bare += token.text;
        } else if (token.Is(Kind::quoted)) {
            name.AppendEscaped(token.text.substr(1, token.text.size() - 2));
        } else {
            name.AppendEscaped(token.text);
        }
    }
    endBare();
    return name.Finish();
}

std::string MakeDisplayName(std::string_view comment) {
    NameBuilder name;
    comment.remove_prefix(1);
    if (comment.ends_with(')')) comment.remove_suffix(1);
    name.AppendEscaped(comment);
    return name.Finish();
}

std::string WritePhrase(std::string_view name) {
    return IsPhrase(name) ? std::string(name) : Quote(name);
}

std::string MakeLocalPart(AddressTokens tokens) {
    std::string text;
    bool wasQuoted = false;
    for (const AddressToken& token : tokens) {
        if (token.Is(Kind::comment)) continue;
        if (!token.Is(Kind::quoted)) {
            text += token.text;
            continue;
        }
        wasQuoted = true;
        const std::string inside = Unfold(token.text.substr(1, token.text.size() - 2));
        KivGuiBase::ForEachUnescaped(inside, [&](char c) { text += c; });
    }
    text = ToUtf8(std::move(text));
    return wasQuoted && !IsDotAtom(text) ? Quote(text) : text;
}

std::string MakeDomain(AddressTokens tokens) {
    std::string text;
    for (const AddressToken& token : tokens) {
        if (!token.Is(Kind::comment)) text += token.text;
    }
    if (text.starts_with('[')) text = DropSpaces(text);
    return ToUtf8(std::move(text));
}

}  // namespace MIME
