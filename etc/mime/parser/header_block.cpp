// Lines to fields, once for each set of rules.
//
// Exact rules: every line is a field of its own, with a ":" in it that is not its first character; an
// empty line ends the block. Departs from RFC 5322, 2.2.3: lines are not unfolded.
//
// Mail rules: lines that begin with white space continue a field. The block may also end with the text,
// at a boundary line, or at the first line that is not a field, which then starts the body. Each of these
// is reported.

#include "mime/parser/header_block.h"

#include <algorithm>

#include "kivgui/ascii.h"
#include "mime/foundation/char_class.h"
#include "mime/parser/report.h"

namespace MIME {

using KivGuiBase::IsBlankAscii;
using KivGuiBase::TrimSpace;

namespace {

bool IsBlankText(std::string_view text) noexcept {
    return std::all_of(text.begin(), text.end(), IsBlankAscii);
}

/// Only a header block has these fields; a body may well begin with "From: " or "Note: ".
constexpr std::string_view kHeaderOnly[] = {
    "MIME-Version",        "Content-Type",   "Content-Transfer-Encoding",
    "Content-Disposition", "Message-ID",     "Received",
    "Return-Path",         "DKIM-Signature", "ARC-Seal",
    "References",          "In-Reply-To",    "Authentication-Results",
    "Delivered-To",
};

bool IsHeaderOnly(std::string_view line) noexcept {
    if (!BeginsField(line)) return false;
    const std::string_view name = TrimSpace(line.substr(0, line.find(':')));
    return std::any_of(
        std::begin(kHeaderOnly), std::end(kHeaderOnly),
        [name](std::string_view known) { return KivGuiBase::EqualsCaseless(known, name); });
}

class BlockReader {
public:
    BlockReader(Reading& reading, const Delimiters& delimiters, const char* begin,
                FieldTaker& fields) noexcept
        : reading_(reading), delimiters_(delimiters), begin_(begin), fields_(fields) {}

    /// @param end  receives the end of the last field.
    bool Read(const char*& end);

private:
    bool ParseHeaderLine(const Line& line);
    bool TakeFoldedField(const Line& firstLine);
    bool EndsOpenBlock(const Line& line);
    bool HasHeaderFieldAfter(const Line& line);
    bool TakeMailLine(const Line& line);
    bool SkipContinuations();
    bool SplitField(std::string_view text, size_t colon);
    bool CountField() noexcept;
    bool PeekHeaderLine(Line& line) noexcept {
        return MIME::PeekHeaderLine(reading_, begin_, count_, line);
    }

    Reading& reading_;
    const Delimiters& delimiters_;
    const char* begin_;
    FieldTaker& fields_;
    unsigned count_ = 0;
    const char* nextField_ = nullptr;  ///< a field that only a header block has, found ahead
};

bool BlockReader::Read(const char*& end) {
    Cursor& cursor = reading_.cursor;
    for (;;) {
        end = cursor.GetNext();
        Line line;
        if (!PeekHeaderLine(line)) return false;
        if (line.kind == Line::Kind::hasNul) return reading_.Fail(Messages::kNulInText);
        if (line.extent == line.text.size() + 1) reading_.Note(Deviation::lineFeed, end);
        if (line.text.empty()) {
            cursor.Skip(line.extent);
            if (line.kind == Line::Kind::ended) return true;
            if (!reading_.IsMail()) return reading_.Fail(Messages::kTextBoundaryMissing);
            reading_.Note(Deviation::headerCutOff, end);
            return true;
        }
        if (line.text.size() > AnsiStr::kMaxLength) return reading_.Fail(Messages::kLineTooLong);
        if (reading_.IsMail() && EndsOpenBlock(line)) return true;
        if (!(reading_.IsMail() ? TakeMailLine(line) : ParseHeaderLine(line))) return false;
    }
}

bool BlockReader::ParseHeaderLine(const Line& line) {
    reading_.cursor.Skip(line.extent);
    const size_t colon = line.text.find(':');
    if (colon == std::string_view::npos || colon == 0) {
        return reading_.Fail(Messages::UnexpectedHeaderLine(line.text));
    }
    return SplitField(line.text, colon) && CountField();
}

bool BlockReader::EndsOpenBlock(const Line& line) {
    const char* place = line.text.data();
    if (IsBlankAscii(line.text.front())) return false;
    if (delimiters_.IsBoundaryLine(place)) {
        reading_.Note(Deviation::headerCutOff, place);
        return true;
    }
    if (BeginsField(line.text) || HasHeaderFieldAfter(line)) return false;
    reading_.Note(Deviation::bodyWithoutBlankLine, place);
    return true;
}

/// Is a line that is no field between fields: after one, and before one that only a header block has, before
/// the first empty line and any boundary line? What was found ahead is kept, so that each line is looked at once.
bool BlockReader::HasHeaderFieldAfter(const Line& line) {
    if (count_ == 0) return false;
    if (nextField_ != nullptr && line.text.data() < nextField_) return true;
    const auto used = static_cast<uint64_t>(line.text.data() - begin_);
    const uint64_t room =
        std::min<uint64_t>(reading_.limits.GetHeaderRoom(used), reading_.cursor.GetLeft());
    Cursor ahead(line.text.data(), room);
    ahead.Skip(std::min(line.extent, room));
    while (ahead.GetLeft() > 0) {
        const Line next = TakeLine(ahead, Rules::mail);
        if (IsBlankText(next.text) || delimiters_.IsBoundaryLine(next.text.data())) return false;
        if (!IsHeaderOnly(next.text)) continue;
        nextField_ = next.text.data();
        return true;
    }
    return false;
}

bool BlockReader::TakeMailLine(const Line& line) {
    const bool isBeforeField = nextField_ != nullptr && line.text.data() < nextField_;
    if (!isBeforeField || IsBlankAscii(line.text.front()) || BeginsField(line.text)) {
        return TakeFoldedField(line);
    }
    reading_.Note(Deviation::lineInHeader, line.text.data());
    reading_.cursor.Skip(line.extent);
    return CountField();
}

/// Takes a line and those that continue it (RFC 5322, 2.2.3).
bool BlockReader::TakeFoldedField(const Line& firstLine) {
    Cursor& cursor = reading_.cursor;
    const char* const begin = cursor.GetNext();
    cursor.Skip(firstLine.extent);
    if (!SkipContinuations()) return false;
    const std::string_view whole(begin, static_cast<size_t>(cursor.GetNext() - begin));
    if (!CountField()) return false;
    if (IsBlankAscii(*begin)) {  // it continues nothing
        reading_.Note(Deviation::malformedFieldName, begin);
        return true;
    }
    if (whole.size() > AnsiStr::kMaxLength) return reading_.Fail(Messages::kLineTooLong);
    const std::string_view text = TrimLineEnd(whole, Rules::mail);
    return SplitField(text, text.find(':'));
}

bool BlockReader::SkipContinuations() {
    Cursor& cursor = reading_.cursor;
    const char* blankLine = nullptr;
    while (cursor.GetLeft() > 0 && IsBlankAscii(*cursor.GetNext())) {
        Line line;
        if (!PeekHeaderLine(line)) return false;
        if (blankLine == nullptr && IsBlankText(line.text)) blankLine = cursor.GetNext();
        cursor.Skip(line.extent);
    }
    if (blankLine == nullptr) return true;
    Line next;
    if (!PeekHeaderLine(next)) return false;
    if (BeginsField(next.text)) reading_.Note(Deviation::blankLineInHeader, blankLine);
    return true;
}

bool BlockReader::SplitField(std::string_view text, size_t colon) {
    const std::string_view name = TrimSpace(text.substr(0, colon));
    if (name.size() != colon) reading_.Note(Deviation::malformedFieldName, text.data());
    return fields_.TakeField(name, TrimSpace(text.substr(colon + 1)));
}

bool BlockReader::CountField() noexcept {
    const auto size = static_cast<unsigned long long>(reading_.cursor.GetNext() - begin_);
    return reading_.limits.CheckHeader(size, ++count_);
}

}  // namespace

bool BeginsField(std::string_view line) noexcept {
    constexpr ByteSet kNameBytes = ByteSet().With(0x21, 0x7E).Without(":");
    size_t at = 0;
    while (at < line.size() && kNameBytes.Has(line[at])) ++at;
    while (at < line.size() && IsBlankAscii(line[at])) ++at;
    return at < line.size() && line[at] == ':';
}

bool PeekHeaderLine(Reading& reading, const char* begin, unsigned fields, Line& line) noexcept {
    constexpr uint64_t kEmptyLine = 3;  // the line that ends the block, and a byte after it
    const Cursor& cursor = reading.cursor;
    const auto used = static_cast<uint64_t>(cursor.GetNext() - begin);
    // Otherwise the short lines that continue a field would pass the limit one by one.
    if (!reading.limits.CheckHeader(used, fields)) return false;
    const uint64_t window = reading.limits.GetHeaderRoom(used) + kEmptyLine;
    if (window >= cursor.GetLeft() || window < kEmptyLine) {
        line = PeekLine(cursor, reading.rules);
        return true;
    }
    line = PeekLine(Cursor(cursor.GetNext(), window), reading.rules);
    return line.kind != Line::Kind::rest || reading.limits.CheckHeader(used + window, fields);
}

/// ">From " is what mail programs make of such a line inside a message. With a ":" it is a field whose
/// name has white space after it.
bool PeekMboxLine(Reading& reading, Line& line) noexcept {
    line = Line{};
    const std::string_view rest = reading.cursor.GetRest();
    if (!rest.starts_with("From ") && !rest.starts_with(">From ")) return true;
    if (!PeekHeaderLine(reading, reading.cursor.GetNext(), 0, line)) return false;
    std::string_view text = line.text;
    text.remove_prefix(text.find(' '));
    const size_t next = text.find_first_not_of(" \t");
    if (next != std::string_view::npos && text[next] == ':') line = Line{};
    return true;
}

bool ReadHeaderBlock(Reading& reading, const Delimiters& delimiters, const char* begin,
                     FieldTaker& fields, const char*& end) {
    return BlockReader(reading, delimiters, begin, fields).Read(end);
}

}  // namespace MIME
