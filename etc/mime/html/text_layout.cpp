#include "mime/html/text_layout.h"

#include <algorithm>

#include "kivgui/ascii.h"
#include "kivgui/utf8.h"

namespace MIME {

namespace {

using KivGuiBase::IsAscii;
using KivGuiBase::IsSpaceAscii;

constexpr bool IsControl(char c) noexcept {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7F';
}

/// U+0080 to U+009F.
constexpr bool IsC1Control(std::string_view character) noexcept {
    return character.size() == 2 && character[0] == '\xC2' &&
           static_cast<unsigned char>(character[1]) < 0xA0;
}

constexpr std::string_view kNoBreakSpace = "\u00A0";
constexpr std::string_view kLineSeparator = "\u2028";
constexpr std::string_view kParagraphSeparator = "\u2029";
constexpr std::string_view kZeroWidthNonJoiner = "\u200C";
constexpr std::string_view kZeroWidthJoiner = "\u200D";

/// Soft hyphen, combining grapheme joiner, Mongolian vowel separator, zero-width space, word joiner,
/// zero-width no-break space.
constexpr std::string_view kInvisible[] = {"\u00AD", "\u034F", "\u180E",
                                           "\u200B", "\u2060", "\uFEFF"};

bool IsInvisible(std::string_view character) noexcept {
    return IsC1Control(character) || std::find(std::begin(kInvisible), std::end(kInvisible),
                                               character) != std::end(kInvisible);
}

std::string_view TrimEnd(std::string_view text) noexcept {
    while (text.ends_with(' ')) text.remove_suffix(1);
    return text;
}

/// Length of the visible ASCII characters at the start.
size_t MeasureVisible(std::string_view text) noexcept {
    const auto end = std::find_if(text.begin(), text.end(),
                                  [](char c) { return c == ' ' || IsControl(c) || !IsAscii(c); });
    return static_cast<size_t>(end - text.begin());
}

}  // namespace

void TextLayout::AppendText(std::string_view text, Space space) {
    while (!text.empty()) {
        size_t length = MeasureVisible(text);
        if (length != 0) {
            Write(text.substr(0, length));
        } else if (IsAscii(text.front())) {
            length = 1;
            AppendSpace(text.front(), space);
        } else {
            length = KivGuiBase::MeasureUtf8(text);
            AppendCharacter(
                length == 0 ? KivGuiBase::kReplacementCharacter : text.substr(0, length), space);
            length = std::max<size_t>(length, 1);
        }
        text.remove_prefix(length);
    }
}

void TextLayout::AppendSpace(char c, Space space) {
    constexpr size_t kTab = 8;
    if (!IsSpaceAscii(c)) return;
    joiner_ = {};
    if (space == Space::collapsed) {
        if (breaks_ == 0 && spaces_ == 0) spaces_ = 1;
    } else if (c == '\n') {
        EndLine();
    } else if (c == '\t') {
        const size_t column = (breaks_ == 0 ? lines_.size() - lineStart_ : 0) + spaces_;
        spaces_ += kTab - column % kTab;
    } else {
        ++spaces_;
    }
}

void TextLayout::AppendCharacter(std::string_view character, Space space) {
    if (character == kNoBreakSpace) {
        hasBlank_ = breaks_ != 0;
        AppendSpace(' ', space);
    } else if (character == kZeroWidthJoiner || character == kZeroWidthNonJoiner) {
        const bool joins =
            breaks_ == 0 && spaces_ == 0 && joiner_.empty() && !IsAscii(lines_.back());
        joiner_ = !joins                          ? std::string_view()
                  : character == kZeroWidthJoiner ? kZeroWidthJoiner
                                                  : kZeroWidthNonJoiner;
    } else if (character == kLineSeparator || character == kParagraphSeparator) {
        AppendSpace('\n', space);
    } else if (!IsInvisible(character)) {
        Write(character);
    }
}

void TextLayout::Write(std::string_view text) {
    constexpr std::string_view kCloses = ".,;:!?)]}'\"";
    if (breaks_ != 0) {
        BeginLine();
    } else if (spaces_ == 0 && isAfterNote_ &&
               kCloses.find(text.front()) == std::string_view::npos) {
        spaces_ = 1;
    }
    isAfterNote_ = false;
    lines_.append(spaces_, ' ');
    spaces_ = 0;
    if (firstText_ == kNoText) firstText_ = lines_.size();
    if (!IsAscii(text.front())) lines_ += joiner_;
    joiner_ = {};
    lines_ += text;
}

void TextLayout::AppendNote(std::string_view note) {
    joiner_ = {};
    isAfterNote_ = true;
    lines_ += note;
}

void TextLayout::BeginLine() {
    if (!lines_.empty()) {
        lines_ += '\n';
        if (breaks_ > 1) {
            lines_ += TrimEnd(std::string_view(prefix_).substr(0, sharedPrefix_));
            lines_ += '\n';
        }
    }
    lineStart_ = lines_.size();
    lines_ += first_;
    first_ = prefix_;
    sharedPrefix_ = prefix_.size();
    breaks_ = 0;
    hasBlank_ = false;
    joiner_ = {};
}

void TextLayout::RequestBreaks(unsigned breaks) {
    if (hasBlank_) breaks = 2;
    if (firstText_ == kNoText) breaks = 1;
    breaks_ = std::max(breaks_, breaks);
    spaces_ = 0;
    hasBlank_ = false;
}

void TextLayout::EndLine() {
    RequestBreaks(breaks_ == 0 ? 1 : 2);
}

void TextLayout::Indent(std::string_view prefix, std::string_view first) {
    prefix_ += prefix;
    first_ += first;
}

void TextLayout::Unindent(size_t length) {
    prefix_.resize(prefix_.size() - length);
    first_.resize(prefix_.size());
    sharedPrefix_ = std::min(sharedPrefix_, prefix_.size());
}

size_t TextLayout::BeginCell() {
    BreakLine();
    const size_t outer = firstText_;
    firstText_ = kNoText;
    return outer;
}

size_t TextLayout::EndCell(size_t outer) {
    BreakLine();
    const size_t first = firstText_;
    if (first != kNoText) breaks_ = 1;
    if (outer != kNoText) firstText_ = outer;
    return first;
}

void TextLayout::Replace(size_t offset, std::string_view text) {
    lines_.replace(offset, std::string::npos, text);
    lineStart_ = std::min(lineStart_, offset);
}

std::string TextLayout::Finish() && {
    if (!lines_.empty()) lines_ += '\n';
    return std::move(lines_);
}

}  // namespace MIME
