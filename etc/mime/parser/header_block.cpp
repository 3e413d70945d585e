#include "mime/parser/header_block.h"

#include <algorithm>

#include "kivgui/ascii.h"
#include "mime/parser/field_reader.h"
#include "mime/parser/header_source.h"
#include "mime/parser/messages.h"

namespace MIME {

using KivGuiBase::ExtendedUnQuote;
using KivGuiBase::IsBlankAscii;
using KivGuiBase::TrimSpace;

namespace {

/// Header lines are at most AnsiStr::kMaxLength long, and so are their pieces.
AnsiSubStr ToSubStr(std::string_view text) noexcept {
    return {text.data(), static_cast<unsigned>(text.size())};
}

/// Stores one parameter; `text` is what stands between two ";".
bool ParseParameter(ParameterMap& parameters, std::string_view text) noexcept {
    text = TrimSpace(text);
    const size_t equals = text.find('=');
    const bool hasValue = equals != std::string_view::npos && equals != 0;
    const AnsiStr name =
        hasValue ? AnsiStr(TrimSpace(text.substr(0, equals))) : ExtendedUnQuote(ToSubStr(text));
    ParameterMap::Node* parameter = parameters.FindOrInsert(name);
    if (parameter == nullptr) return false;
    parameter->value.value =
        hasValue ? ExtendedUnQuote(ToSubStr(TrimSpace(text.substr(equals + 1)))) : AnsiStr();
    parameter->value.raw = false;
    return true;
}

bool IsBlankText(std::string_view text) noexcept {
    return std::all_of(text.begin(), text.end(), IsBlankAscii);
}

/// Does the line begin a field: a name of visible characters, which may be missing, and ":"
/// (RFC 5322, 2.2)? White space between the two is obsolete (4.5) and allowed.
bool BeginsField(std::string_view line) noexcept {
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos) return false;
    size_t end = colon;
    while (end > 0 && IsBlankAscii(line[end - 1])) --end;
    return std::all_of(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(end),
                       [](char c) noexcept { return c > ' ' && c < '\x7F'; });
}

/// Reads one header block.
class BlockReader {
public:
    BlockReader(Part& part, ReadState& state, const BoundarySet* boundaries,
                const char* begin) noexcept
        : part_(part),
          state_(state),
          boundaries_(boundaries),
          begin_(begin),
          source_(part.fields, begin_) {}

    bool Read() {
        const char* end = nullptr;
        if (!ReadFields(end)) return false;
        return !state_.options.keepSource || source_.Finish(end);
    }

private:
    bool ReadFields(const char*& end);
    bool EndsOpenBlock(const Line& line);
    bool TakeField(const Line& firstLine);
    bool TakeContinuations();
    bool StoreField(std::string_view text);
    bool CheckLimits() noexcept;

    Part& part_;
    ReadState& state_;
    const BoundarySet* boundaries_;
    const char* begin_;
    HeaderSource source_;
    unsigned fields_ = 0;
};

bool BlockReader::ReadFields(const char*& end) {
    Cursor& cursor = state_.cursor;
    for (;;) {
        end = cursor.GetNext();
        const Line line = PeekLine(cursor, state_.GetLineRules());
        if (line.kind == Line::Kind::hasNul) return state_.Fail(Messages::kNulInText);
        if (line.extent == line.text.size() + 1) state_.Note(Deviation::lineFeed, end);
        if (line.text.empty()) {
            cursor.Skip(line.extent);
            if (line.kind == Line::Kind::ended) return true;
            if (!state_.options.openHeaders) return state_.Fail(Messages::kTextBoundaryMissing);
            state_.Note(Deviation::headerCutOff, end);
            return true;
        }
        if (line.text.size() > AnsiStr::kMaxLength) return state_.Fail(Messages::kLineTooLong);
        if (state_.options.openHeaders && EndsOpenBlock(line)) return true;
        if (!TakeField(line)) return false;
    }
}

bool BlockReader::EndsOpenBlock(const Line& line) {
    const char* place = line.text.data();
    if (state_.options.unfold && IsBlankAscii(line.text.front())) return false;
    DelimiterLine delimiter;
    if (boundaries_ != nullptr && boundaries_->Match(place, delimiter)) {
        state_.Note(Deviation::headerCutOff, place);
        return true;
    }
    if (BeginsField(line.text)) return false;
    state_.Note(Deviation::bodyWithoutBlankLine, place);
    return true;
}

bool BlockReader::TakeField(const Line& firstLine) {
    Cursor& cursor = state_.cursor;
    const char* const begin = cursor.GetNext();
    cursor.Skip(firstLine.extent);
    if (!state_.options.unfold) return StoreField(firstLine.text) && CheckLimits();
    if (!TakeContinuations()) return false;
    const std::string_view whole(begin, static_cast<size_t>(cursor.GetNext() - begin));
    if (!CheckLimits()) return false;
    if (IsBlankAscii(*begin)) {  // it continues nothing
        state_.Note(Deviation::malformedFieldName, begin);
        return true;
    }
    if (whole.size() > AnsiStr::kMaxLength) return state_.Fail(Messages::kLineTooLong);
    return StoreField(TrimLineEnd(whole, state_.GetLineRules()));
}

/// Moves behind the lines that continue the field (RFC 5322, 2.2.3).
bool BlockReader::TakeContinuations() {
    Cursor& cursor = state_.cursor;
    const char* blankLine = nullptr;
    while (cursor.GetLeft() > 0 && IsBlankAscii(*cursor.GetNext())) {
        const Line line = PeekLine(cursor, state_.GetLineRules());
        if (line.kind == Line::Kind::hasNul) return state_.Fail(Messages::kNulInText);
        if (blankLine == nullptr && IsBlankText(line.text)) blankLine = cursor.GetNext();
        cursor.Skip(line.extent);
    }
    if (blankLine == nullptr) return true;
    const Line next = PeekLine(cursor, state_.GetLineRules());
    if (BeginsField(next.text)) state_.Note(Deviation::blankLineInHeader, blankLine);
    return true;
}

bool BlockReader::CheckLimits() noexcept {
    const Switches& options = state_.options;
    const auto size = static_cast<unsigned long long>(state_.cursor.GetNext() - begin_);
    if (options.maxHeaderBytes != 0 && size > options.maxHeaderBytes) {
        return state_.Fail(
            Messages::LimitReached("bytes in a header block", options.maxHeaderBytes));
    }
    ++fields_;
    if (options.maxFields != 0 && fields_ > options.maxFields) {
        return state_.Fail(Messages::LimitReached("fields in a header block", options.maxFields));
    }
    return true;
}

bool BlockReader::StoreField(std::string_view text) {
    const size_t colon = text.find(':');
    if (colon == std::string_view::npos || (colon == 0 && !state_.options.openHeaders)) {
        return state_.Fail(Messages::UnexpectedHeaderLine(text));
    }
    const std::string_view name = TrimSpace(text.substr(0, colon));
    const std::string_view value = TrimSpace(text.substr(colon + 1));
    if (state_.options.keepSource && !source_.Add(name, value)) return false;
    if (name.size() != colon) state_.Note(Deviation::malformedFieldName, text.data());
    if (name.empty() && state_.options.openHeaders) return true;
    return ReadField(part_, name, value, state_);
}

}  // namespace

bool ReadHeaderBlock(Part& part, ReadState& state, const BoundarySet* boundaries,
                     const char* begin) {
    return BlockReader(part, state, boundaries, begin).Read();
}

bool ReadHeaderBlock(Part& part, Cursor& cursor, AnsiStr& error) {
    const ReadOptions none;
    ReadState state(cursor.GetNext(), cursor, error, none, nullptr);
    return ReadHeaderBlock(part, state, nullptr, cursor.GetNext());
}

bool ParseHeaderValue(HeaderValue& target, const AnsiSubStr& text) noexcept {
    const std::string_view whole = text;
    const size_t semicolon = whole.find(';');
    if (semicolon == std::string_view::npos || semicolon == 0) {
        target.value = ExtendedUnQuote(text);
        return true;
    }
    target.value = TrimSpace(whole.substr(0, semicolon));
    KivGuiBase::TokenIterator tokens(TrimSpace(whole.substr(semicolon + 1)), ";");
    while (tokens.ToNext()) {
        if (!ParseParameter(target.parameters, tokens.token)) return false;
    }
    return true;
}

}  // namespace MIME
