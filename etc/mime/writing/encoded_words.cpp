#include "mime/writing/encoded_words.h"

#include <algorithm>

#include "kivgui/base64_kernel.h"
#include "kivgui/hex.h"
#include "kivgui/utf8.h"
#include "mime/foundation/char_class.h"

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

/// Length of the whole characters at the start of `text` that fit, at least one.
size_t MeasureFitting(std::string_view text, bool isQ, size_t room) noexcept {
    size_t taken = 0;
    size_t used = 0;  // by Q
    while (taken < text.size()) {
        const size_t character = std::max(1U, KivGuiBase::MeasureUtf8(text.substr(taken)));
        used += MeasureQ(text.substr(taken, character));
        const size_t needed = isQ ? used : MeasureB(taken + character);
        if (taken != 0 && needed > room) break;
        taken += character;
    }
    return taken;
}

}  // namespace

std::vector<std::string> MakeEncodedWords(std::string_view text, size_t firstRoom, size_t room) {
    const bool isQ = MeasureQ(text) <= MeasureB(text.size());
    std::vector<std::string> words;
    while (!text.empty()) {
        const size_t limit = std::min(words.empty() ? firstRoom : room, kMaxWord);
        const size_t taken = MeasureFitting(text, isQ, limit - std::min(limit, kMarks));
        const std::string_view piece = text.substr(0, taken);
        words.push_back(isQ ? MakeQ(piece) : MakeB(piece));
        text.remove_prefix(taken);
    }
    return words;
}

}  // namespace MIME
