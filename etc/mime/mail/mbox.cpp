#include "mime/mail/mbox.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "kivgui/ascii.h"
#include "kivgui/utf8.h"
#include "mime/mail/whole.h"

// Programs write mbox files in four ways: they quote lines "From " with ">" (mboxo), those and the
// quoted ones (mboxrd), quote and give a Content-Length (mboxcl), or give a Content-Length alone
// (mboxcl2). One rule reads all four, because a length that is right can be verified: a message ends
// where it says. A length of another way of counting, or of another time, is ignored, and the message
// ends before the next empty line and From_ line. That line has to have a date, because a paragraph
// may begin with "From ".
//
// The first empty line of a message ends its header block, so no From_ line comes before it: the header
// block is searched for a length without going past the message. Whether a From_ line is one is
// decided by its first kMaxFromLine bytes; otherwise many wrong lengths that point to one long line
// would each have all of it read.

namespace MIME {

using KivGuiBase::EqualsCaseless;
using KivGuiBase::IsBlankAscii;
using KivGuiBase::IsDigitAscii;

namespace {

constexpr std::string_view kFrom = "From ";
constexpr std::string_view kMark = "\nFrom ";  // a line end and the From_ line after it
constexpr size_t kMaxFromLine = 500;

// ------------------------------------------------------------------------------------ From_ lines --

/// Takes words apart at blanks.
class Words {
public:
    explicit Words(std::string_view text) noexcept : rest_(text) { SkipBlanks(); }

    /// From the next word on.
    std::string_view GetRest() const noexcept { return rest_; }
    bool IsAtEnd() const noexcept { return rest_.empty(); }

    /// Empty at the end.
    std::string_view Take() noexcept {
        size_t length = 0;
        while (length < rest_.size() && !IsBlankAscii(rest_[length])) ++length;
        const std::string_view word = rest_.substr(0, length);
        rest_.remove_prefix(length);
        SkipBlanks();
        return word;
    }

private:
    void SkipBlanks() noexcept {
        while (!rest_.empty() && IsBlankAscii(rest_.front())) rest_.remove_prefix(1);
    }

    std::string_view rest_;
};

template <size_t N>
bool IsOneOf(std::string_view word, const std::array<const char*, N>& names) noexcept {
    return std::any_of(names.begin(), names.end(),
                       [word](const char* name) { return EqualsCaseless(word, name); });
}

bool IsWeekday(std::string_view word) noexcept {
    constexpr std::array kDays = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
    if (word.ends_with(',')) word.remove_suffix(1);
    return IsOneOf(word, kDays);
}

bool IsMonth(std::string_view word) noexcept {
    constexpr std::array kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                    "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    return IsOneOf(word, kMonths);
}

/// Compares with a pattern in which "9" is any digit.
bool Matches(std::string_view word, std::string_view pattern) noexcept {
    return std::equal(word.begin(), word.end(), pattern.begin(), pattern.end(),
                      [](char c, char p) { return p == '9' ? IsDigitAscii(c) : c == p; });
}

bool IsDay(std::string_view word) noexcept {
    return Matches(word, "9") || Matches(word, "99");
}

bool IsYear(std::string_view word) noexcept {
    return Matches(word, "9999") || Matches(word, "99");
}

bool IsTime(std::string_view word) noexcept {
    return Matches(word, "99:99:99") || Matches(word, "9:99:99") || Matches(word, "99:99") ||
           Matches(word, "9:99");
}

/// Month, day, time and year, with up to two words for the time zone before the year.
bool IsUnixDate(Words words) noexcept {
    if (!IsMonth(words.Take()) || !IsDay(words.Take()) || !IsTime(words.Take())) return false;
    for (int i = 0; i < 3; ++i) {
        if (IsYear(words.Take())) return true;
    }
    return false;
}

/// Day, month, year and time (RFC 5322, 3.3).
bool IsMailDate(Words words) noexcept {
    return IsDay(words.Take()) && IsMonth(words.Take()) && IsYear(words.Take()) &&
           IsTime(words.Take());
}

bool IsDate(Words words) noexcept {
    const std::string_view first = words.GetRest();
    if (IsUnixDate(words) || IsMailDate(words) || Matches(first.substr(0, 10), "9999-99-99")) {
        return true;
    }
    return IsWeekday(words.Take()) && (IsUnixDate(words) || IsMailDate(words));
}

/// The line at the start of the text, without its line end; at most `limit` bytes of it.
std::string_view GetLine(std::string_view text, size_t limit = std::string_view::npos) noexcept {
    std::string_view line = text.substr(0, limit);
    line = line.substr(0, line.find('\n'));
    if (line.size() < text.size() && text[line.size()] == '\n' && line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

/// The length of the line end at the start of the text; 0 when there is none.
size_t MeasureLineEnd(std::string_view text) noexcept {
    return text.starts_with('\n') ? 1 : text.starts_with("\r\n") ? 2 : 0;
}

}  // namespace

bool FromLine::Parse(std::string_view line, FromLine& parsed) noexcept {
    if (!line.starts_with(kFrom)) return false;
    const std::string_view rest = KivGuiBase::TrimSpace(line.substr(kFrom.size()));
    for (Words words(rest); !words.IsAtEnd(); words.Take()) {
        if (!IsDate(words)) continue;
        const size_t date = rest.size() - words.GetRest().size();
        parsed = {KivGuiBase::TrimSpace(rest.substr(0, date)), rest.substr(date)};
        return true;
    }
    parsed = {rest, {}};
    return false;
}

// ---------------------------------------------------------------------------------- Content-Length --

namespace {

/// The field's value; false when it is no number, or one that no file can have.
bool ReadLength(std::string_view value, uint64_t& length) noexcept {
    constexpr size_t kMaxDigits = 18;
    value = KivGuiBase::TrimSpace(value);
    if (value.empty() || value.size() > kMaxDigits) return false;
    length = 0;
    for (const char c : value) {
        if (!IsDigitAscii(c)) return false;
        length = length * 10 + static_cast<uint64_t>(c - '0');
    }
    return true;
}

/// What the header block says about the body that follows.
struct HeaderBlock {
    size_t size = 0;  ///< with the empty line
    bool hasLength = false;
    uint64_t length = 0;
};

/// @return false when the text has no empty line, or two different lengths.
bool ReadHeaderBlock(std::string_view text, HeaderBlock& block) noexcept {
    constexpr std::string_view kName = "Content-Length:";
    while (block.size < text.size()) {
        const std::string_view rest = text.substr(block.size);
        const size_t lineEnd = rest.find('\n');
        if (lineEnd == std::string_view::npos) return false;
        block.size += lineEnd + 1;
        if (lineEnd == 0 || (lineEnd == 1 && rest.front() == '\r')) return true;
        if (!KivGuiBase::StartsWithCaseless(rest.substr(0, lineEnd), kName)) continue;
        uint64_t length = 0;
        if (!ReadLength(rest.substr(kName.size(), lineEnd - kName.size()), length)) continue;
        if (block.hasLength && block.length != length) return false;
        block.hasLength = true;
        block.length = length;
    }
    return false;
}

}  // namespace

/// Looks whether the message at `begin` ends where its Content-Length says. Beside the body's own last
/// line end, which some programs add without counting it, there is the empty line.
bool MboxReader::BelieveLength(size_t begin, Split& split) const noexcept {
    HeaderBlock block;
    if (!ReadHeaderBlock(file_.substr(begin), block) || !block.hasLength) return false;
    const size_t body = begin + block.size;
    if (block.length > file_.size() - body) return false;
    split.end = body + static_cast<size_t>(block.length);
    split.next = split.end;
    for (int lineEnds = 0; lineEnds < 2 && split.next < file_.size(); ++lineEnds) {
        const size_t length = MeasureLineEnd(file_.substr(split.next));
        if (length == 0) return false;
        split.next += length;
        if (IsFromLine(split.next)) return true;
    }
    return split.next == file_.size();
}

// ---------------------------------------------------------------------------------------- messages --

namespace {

/// Where the first From_ line would begin.
size_t FindStart(std::string_view file) noexcept {
    std::string_view rest = KivGuiBase::SkipByteOrderMark(file);
    while (const size_t length = MeasureLineEnd(rest)) rest.remove_prefix(length);
    return file.size() - rest.size();
}

}  // namespace

bool MboxReader::IsMbox(std::string_view file) noexcept {
    const std::string_view text = file.substr(FindStart(file));
    if (!text.starts_with(kFrom)) return false;
    const size_t next = text.find_first_not_of(" \t", kFrom.size());
    return next == std::string_view::npos || text[next] != ':';
}

MboxReader::MboxReader(std::string_view file, const MappedText* mapped)
    : file_(file),
      mapped_(mapped),
      finder_(Whole([] { return KivGuiBase::AnsiStr(kMark.data()); })) {
    Rewind();
}

void MboxReader::Rewind() noexcept {
    next_ = IsMbox(file_) ? FindStart(file_) : file_.size();
}

bool MboxReader::IsFromLine(size_t at) const noexcept {
    std::string_view line = GetLine(file_.substr(at), kMaxFromLine);
    // A word that is cut in two may look like a year.
    if (line.size() == kMaxFromLine) line = line.substr(0, line.find_last_of(" \t") + 1);
    FromLine parsed;
    return FromLine::Parse(line, parsed);
}

/// The next line end before "From ", from a place in the file or its end.
size_t MboxReader::FindMark(size_t from) noexcept {
    PassedPages passed;
    if (mapped_ != nullptr) passed = mapped_->Pass(file_.data() + from);
    const size_t found =
        FindPassingPages(file_.substr(from), kMark.size(), passed,
                         [this](std::string_view window) { return finder_.Find(window); });
    return found == TextFinder::kNotFound ? found : from + found;
}

/// The next From_ line after an empty line that is not before `begin`.
MboxReader::Split MboxReader::FindNext(size_t begin) noexcept {
    // The line end before `begin` is that of a From_ line.
    for (size_t from = begin - 1;;) {
        const size_t found = FindMark(from);
        // The last message ends before an empty line too.
        const size_t lineEnd = found == TextFinder::kNotFound ? file_.size() - 1 : found;
        size_t empty = lineEnd;
        if (empty > begin && file_[empty - 1] == '\r') --empty;
        const bool afterEmpty =
            file_[lineEnd] == '\n' && empty >= begin && file_[empty - 1] == '\n';
        if (found == TextFinder::kNotFound) {
            return {afterEmpty ? empty : file_.size(), file_.size()};
        }
        if (afterEmpty && IsFromLine(lineEnd + 1)) return {empty, lineEnd + 1};
        from = lineEnd + 1;
    }
}

bool MboxReader::Next(MboxMessage& message) noexcept {
    if (next_ == file_.size()) return false;
    message.fromLine = GetLine(file_.substr(next_));
    const size_t lineEnd = file_.find('\n', next_);
    const size_t begin = lineEnd == std::string_view::npos ? file_.size() : lineEnd + 1;
    Split split{begin, begin};
    if (begin < file_.size() && !BelieveLength(begin, split)) split = FindNext(begin);
    message.text = file_.substr(begin, split.end - begin);
    next_ = split.next;
    return true;
}

std::string UnquoteMbox(std::string_view text) {
    std::string unquoted;
    unquoted.reserve(text.size());
    while (!text.empty()) {
        const std::string_view line =
            text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1);
        text.remove_prefix(line.size());
        const size_t marks = line.find_first_not_of('>');
        const bool isQuoted =
            marks != 0 && marks != std::string_view::npos && line.substr(marks).starts_with(kFrom);
        unquoted += line.substr(isQuoted ? 1 : 0);
    }
    return unquoted;
}

}  // namespace MIME
