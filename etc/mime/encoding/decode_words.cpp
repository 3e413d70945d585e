#include "mime/encoding/decode_words.h"

#include <algorithm>
#include <utility>

#include "kivgui/ascii.h"
#include "kivgui/charset.h"
#include "kivgui/hex.h"
#include "kivgui/kernels/base64_kernel.h"
#include "kivgui/text_builder.h"
#include "mime/foundation/guarded.h"

// Decodes the encoded words of a text in one pass (RFC 2047). Adjacent words of one charset form a run;
// the bytes of a run are collected first and converted together, so that a character may be divided
// between words. What is between two words of a run is white space, and is dropped.
//
// The search for a word's end stops at the next "=?", so no byte is looked at more than twice, and
// hostile text takes linear time too.
//
// Departures from RFC 2047, beyond those of decode_words.h:
//  1. A base64 group may be divided between two words (2 forbids it): a group that is open at the end
//     of a word goes on in the next one, unless it can end there and the next word is whole itself.
//  2. A malformed "=" escape in Q text is kept as it is.
//  3. A CR, LF or NUL that was encoded becomes a space, so that no field can end inside a value.

namespace MIME {

using KivGuiBase::TextBuilder;

namespace {

constexpr std::string_view kWordStart = "=?";
constexpr std::string_view kWordEnd = "?=";

constexpr bool IsLineEndOrNul(char c) noexcept {
    return c == '\r' || c == '\n' || c == '\0';
}

bool IsLinearSpaceText(std::string_view text) noexcept {
    return std::all_of(text.begin(), text.end(), IsLinearSpace);
}

/// Length of the encoded text, up to "?="; npos when another word begins first, or none ends.
size_t MeasureWordText(std::string_view text) noexcept {
    for (size_t at = text.find('?'); at != std::string_view::npos; at = text.find('?', at + 1)) {
        if (text.substr(at).starts_with(kWordEnd)) return at;
        if (at != 0 && text[at - 1] == '=') break;
    }
    return std::string_view::npos;
}

/// Returns true for the base64 alphabet, "=" and white space. A word with anything else is malformed.
bool IsBase64Text(std::string_view text) noexcept {
    return std::all_of(text.begin(), text.end(), [](char c) {
        return c == '=' || IsLinearSpace(c) ||
               KivGuiBase::Base64::GetValue(c) != KivGuiBase::Base64::kNoValue;
    });
}

}  // namespace

std::optional<WordText> ParseWord(std::string_view text) noexcept {
    constexpr size_t kMaxCharset = 100;  // with a language
    std::string_view rest = text.substr(kWordStart.size());
    const size_t charsetEnd = rest.substr(0, kMaxCharset).find('?');
    if (charsetEnd == std::string_view::npos || charsetEnd == 0) return std::nullopt;
    WordText word;
    word.charset = rest.substr(0, charsetEnd);
    word.charset = word.charset.substr(0, word.charset.find('*'));
    rest.remove_prefix(charsetEnd + 1);
    if (word.charset.empty() || rest.size() < 2 || rest[1] != '?') return std::nullopt;
    const char encoding = KivGuiBase::ToLowerAscii(rest[0]);
    if (encoding != 'q' && encoding != 'b') return std::nullopt;
    rest.remove_prefix(2);
    const size_t length = MeasureWordText(rest);
    if (length == std::string_view::npos) return std::nullopt;
    word.isBase64 = encoding == 'b';
    word.text = rest.substr(0, length);
    if (word.isBase64 && !IsBase64Text(word.text)) return std::nullopt;
    word.length = static_cast<size_t>(rest.data() - text.data()) + length + kWordEnd.size();
    return word;
}

void ReplaceControls(AnsiStr& text) noexcept {
    const std::string_view all = text;
    const auto first = std::find_if(all.begin(), all.end(), IsLineEndOrNul);
    if (first == all.end()) return;
    TextBuilder clean(text.GetLength());
    for (std::string_view rest = all; !rest.empty();) {
        const auto stop = std::find_if(rest.begin(), rest.end(), IsLineEndOrNul);
        const auto length = static_cast<size_t>(stop - rest.begin());
        clean.Append(rest.substr(0, length));
        rest.remove_prefix(length);
        if (rest.empty()) break;
        clean.Append(' ');
        rest.remove_prefix(1);
    }
    text = clean.Finish();
}

namespace {

/// Adjacent words of one charset, which are converted together.
class WordRun {
public:
    bool IsEmpty() const noexcept { return charset_.empty(); }

    bool Accepts(const WordText& word) const noexcept {
        return KivGuiBase::EqualsCaseless(word.charset, charset_);
    }

    void Add(const WordText& word) noexcept {
        charset_ = word.charset;
        if (word.isBase64) {
            AddBase64(word.text);
        } else {
            EndGroups();
            AddQ(word.text);
        }
    }

    /// Converts the words to UTF-8 and empties the run. @return false for an unknown charset.
    bool Convert(AnsiStr& text) noexcept {
        EndGroups();
        KivGuiBase::CharsetResult converted = KivGuiBase::ConvertToUtf8(bytes_.Finish(), charset_);
        charset_ = {};
        ReplaceControls(converted.text);
        text = std::move(converted.text);
        return converted.known;
    }

private:
    void EndGroups() noexcept {
        char out[kLenientRoom];
        bytes_.Append(std::string_view(out, groups_.Finish(out)));
        groups_ = LenientBase64();
    }

    /// Some senders divide groups between words, others leave out padding. A group is divided when
    /// the word before cannot end with it, or when this word is not made of whole groups.
    bool ContinuesGroup(size_t characters) const noexcept {
        return groups_.GetOpenCharacters() == 1 || groups_.HasSpareBits() || characters % 4 == 1;
    }

    void AddBase64(std::string_view text) noexcept {
        constexpr size_t kPiece = 96;
        if (groups_.GetOpenCharacters() != 0) {
            const auto spaces = std::count_if(text.begin(), text.end(), IsLinearSpace);
            if (!ContinuesGroup(text.size() - static_cast<size_t>(spaces))) EndGroups();
        }
        while (!text.empty()) {
            char out[kPiece + kLenientRoom];
            const std::string_view piece = text.substr(0, kPiece);
            bytes_.Append(std::string_view(out, groups_.Decode(piece, out)));
            text.remove_prefix(piece.size());
        }
    }

    void AddQ(std::string_view text) noexcept {
        while (!text.empty()) {
            const size_t plain = std::min(text.find_first_of("=_\r\n"), text.size());
            bytes_.Append(text.substr(0, plain));
            text.remove_prefix(plain);
            if (!text.empty()) text.remove_prefix(AddSpecial(text));
        }
    }

    /// Takes one of the characters above, or an escape, from the start of the text.
    /// @return how many bytes were taken.
    size_t AddSpecial(std::string_view text) noexcept {
        if (text.front() == '_') bytes_.Append(' ');
        if (text.front() != '=') return 1;  // the line end of a fold is dropped
        const unsigned byte = KivGuiBase::ReadHexEscape(text);
        bytes_.Append(byte <= 0xFF ? static_cast<char>(byte) : '=');
        return byte <= 0xFF ? KivGuiBase::kHexEscapeLength : 1;
    }

    std::string_view charset_;
    LenientBase64 groups_;
    TextBuilder bytes_;
};

/// Copies a text with its words decoded.
class WordsDecoder {
public:
    explicit WordsDecoder(std::string_view text) noexcept
        : text_(text), out_(static_cast<unsigned>(text.size())) {}

    DecodedWords Decode() noexcept {
        for (size_t at = text_.find(kWordStart); at != std::string_view::npos;) {
            const std::optional<WordText> word = ParseWord(text_.substr(at));
            if (word.has_value()) TakeWord(*word, at);
            at = text_.find(kWordStart, at + (word.has_value() ? word->length : kWordStart.size()));
        }
        EndRun();
        if (!hadWord_) return {AnsiStr(), false};
        out_.Append(text_.substr(copied_));
        return {out_.Finish(), true};
    }

private:
    void TakeWord(const WordText& word, size_t at) noexcept {
        if (!run_.IsEmpty() &&
            (!run_.Accepts(word) || !IsLinearSpaceText(text_.substr(runEnd_, at - runEnd_)))) {
            EndRun();
        }
        if (run_.IsEmpty()) runStart_ = at;
        run_.Add(word);
        runEnd_ = at + word.length;
    }

    void EndRun() noexcept {
        if (run_.IsEmpty()) return;
        AnsiStr converted;
        const bool known = run_.Convert(converted);
        const std::string_view gap = text_.substr(copied_, runStart_ - copied_);
        if (!known || !isAfterWord_ || !IsLinearSpaceText(gap)) out_.Append(gap);
        out_.Append(known ? std::string_view(converted)
                          : text_.substr(runStart_, runEnd_ - runStart_));
        copied_ = runEnd_;
        isAfterWord_ = known;
        hadWord_ = hadWord_ || known;
    }

    std::string_view text_;
    TextBuilder out_;
    size_t copied_ = 0;  ///< the start of the text that is not in `out_` yet
    WordRun run_;
    size_t runStart_ = 0;
    size_t runEnd_ = 0;
    bool isAfterWord_ = false;  ///< a decoded word ends at `copied_`
    bool hadWord_ = false;
};

}  // namespace

DecodedWords DecodeWords(std::string_view text) noexcept {
    if (text.find(kWordStart) == std::string_view::npos) return {};
    return WordsDecoder(text).Decode();
}

AnsiStr Decoding::Words(const AnsiStr& text) noexcept {
    return Guarded(AnsiStr(), [&] {
        const DecodedWords decoded = DecodeWords(text);
        return decoded.hadWord ? decoded.text : text;
    });
}

}  // namespace MIME
