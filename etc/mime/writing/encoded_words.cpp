#include "mime/writing/encoded_words.h"

#include <algorithm>

#include "kivgui/hex.h"
#include "kivgui/kernels/base64_kernel.h"
#include "kivgui/utf8.h"
#include "mime/foundation/char_class.h"

// Some programs join the base64 of words in a row before they decode it, and lose what follows padding.
// So only the last word has any; where characters do not divide into groups of three bytes, one of them
// becomes a word of Q.

namespace MIME {

namespace {

constexpr std::string_view kWordEnd = "?=";
constexpr size_t kMaxWord = 75;  // RFC 2047, 2
constexpr size_t kMarks = std::string_view("=?utf-8?Q?").size() + kWordEnd.size();

size_t MeasureQ(std::string_view text) noexcept {
    size_t size = 0;
    for (const char c : text) {
        size += c == ' ' || kEncodedWordBytes.Has(c) ? 1 : KivGuiBase::kHexEscapeLength;
    }
    return size;
}

constexpr size_t MeasureB(size_t bytes) noexcept {
    return (bytes + 2) / 3 * 4;
}

std::string MakeQ(std::string_view text) {
    std::string word = "=?utf-8?Q?";
    for (const char c : text) {
        if (c == ' ' || kEncodedWordBytes.Has(c)) {
            word += c == ' ' ? '_' : c;
            continue;
        }
        char escape[KivGuiBase::kHexEscapeLength];
        KivGuiBase::WriteHexEscape('=', c, escape);
        word.append(escape, sizeof escape);
    }
    return word.append(kWordEnd);
}

std::string MakeB(std::string_view text) {
    std::string word = "=?utf-8?B?";
    const size_t start = word.size();
    word.resize(start + MeasureB(text.size()));
    KivGuiBase::Base64::EncodeLines(text.data(), text.size(), 0, "", word.data() + start);
    return word.append(kWordEnd);
}

/// Length of the whole characters at the start of `text` that fit a word: at least one for Q. For B
/// a length without padding, which may be 0, unless it is all of the text.
size_t MeasureFitting(std::string_view text, bool isQ, size_t room) noexcept {
    size_t taken = 0;
    size_t best = 0;
    size_t used = 0;  // by Q
    while (taken < text.size()) {
        const size_t character = std::max(1U, KivGuiBase::MeasureUtf8(text.substr(taken)));
        used += MeasureQ(text.substr(taken, character));
        taken += character;
        if ((isQ ? used : MeasureB(taken)) > room) break;
        if (isQ || taken % 3 == 0 || taken == text.size()) best = taken;
    }
    return best;
}

}  // namespace

std::vector<std::string> MakeEncodedWords(std::string_view text, size_t firstRoom, size_t room) {
    const bool isQ = MeasureQ(text) <= MeasureB(text.size());
    std::vector<std::string> words;
    while (!text.empty()) {
        const size_t limit = std::min(words.empty() ? firstRoom : room, kMaxWord);
        const size_t fitting = MeasureFitting(text, isQ, limit - std::min(limit, kMarks));
        const size_t taken = std::max<size_t>({fitting, KivGuiBase::MeasureUtf8(text), 1});
        const std::string_view piece = text.substr(0, taken);
        words.push_back(isQ || fitting == 0 ? MakeQ(piece) : MakeB(piece));
        text.remove_prefix(taken);
    }
    return words;
}

}  // namespace MIME
