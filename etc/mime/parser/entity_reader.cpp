#include "mime/parser/entity_reader.h"

#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "mime/parser/body_name.h"
#include "mime/parser/body_reader.h"
#include "mime/parser/content_fields.h"
#include "mime/parser/delimiter.h"
#include "mime/parser/header_block.h"
#include "mime/parser/messages.h"

namespace MIME {

namespace {

/// An entity whose children are being read: a multipart, or one that carries a message.
class Level {
public:
    /// The top entity, which the caller owns.
    /// @param body  where its text behind the header block begins.
    Level(Part& part, const Cursor& body)
        : part_(&part), body_(body), delimiter_(part.info.boundary) {
        // Without memory for its text a delimiter would be found everywhere.
        if (delimiter_.GetLength() == 0) throw std::bad_alloc();
        const HeaderMap::Node* type = part.headers.Find("Content-Type");
        if (type == nullptr) return;
        const ParameterMap::Node* start = type->value.parameters.Find("start");
        if (start != nullptr) start_ = start->value.value;
    }
    /// A nested entity, which goes with its level unless that is completed.
    Level(std::unique_ptr<Part> part, const Cursor& body) : Level(*part, body) {
        owned_ = std::move(part);
    }

    Part& GetPart() noexcept { return *part_; }
    const Cursor& GetBody() const noexcept { return body_; }
    Delimiter& GetDelimiter() noexcept { return delimiter_; }
    unsigned CountChildren() const noexcept { return part_->parts.GetCount(); }
    bool IsMessage() const noexcept { return part_->info.isMessage; }
    bool IsDigest() const noexcept {
        const AnsiStr type = part_->info.contentType.GetStr();
        return AnsiStr::Compare(type.GetStr(), "multipart/digest", true) == 0;
    }

    /// A delimiter has come, and with it the first child.
    void NoteDelimiter() noexcept { hasDelimiter_ = true; }
    bool HasDelimiter() const noexcept { return hasDelimiter_; }

    /// Makes `child` a child of this entity; takes it over only when that succeeds.
    bool Attach(std::unique_ptr<Part>& child) noexcept {
        const bool isRoot = !start_.IsEmpty() && GetContentID(child->headers) == start_;
        const unsigned index = part_->parts.GetCount();
        if (isRoot && !roots_.Add(index)) return false;
        if (!part_->parts.Add(child.get())) return false;
        static_cast<void>(child.release());
        return true;
    }

    /// Puts the children that "start" names before the others, the last read of them first
    /// (RFC 2387, 3.2). Done once, so that many such children cost no more than few.
    void PutRootsFirst() noexcept {
        if (roots_.IsEmpty()) return;
        const SharedArray<Part*>& parts = part_->parts;
        SharedArray<Part*> ordered;
        bool complete = true;
        for (unsigned i = roots_.GetCount(); i-- > 0;) complete &= ordered.Add(parts[roots_[i]]);
        for (unsigned i = 0, root = 0; i < parts.GetCount(); ++i) {
            if (root < roots_.GetCount() && roots_[root] == i) {
                ++root;
            } else {
                complete &= ordered.Add(parts[i]);
            }
        }
        roots_.Clear();
        if (complete) part_->parts = ordered;
    }

    /// Hands out a nested entity that is complete.
    std::unique_ptr<Part> Complete() noexcept {
        PutRootsFirst();
        return std::move(owned_);
    }

private:
    Part* part_;
    std::unique_ptr<Part> owned_;
    Cursor body_;
    Delimiter delimiter_;
    bool hasDelimiter_ = false;
    AnsiStr start_;                ///< the Content-ID of the root part, angle brackets included
    SharedArray<unsigned> roots_;  ///< places of the children that have it, ascending
};

/// The descent, with a stack of its own, because the text decides how deep it goes.
class EntityReader {
public:
    explicit EntityReader(ReadState& state) noexcept
        : state_(state),
          cursor_(state.cursor),
          boundaries_(state, cursor_.GetNext() + cursor_.GetLeft()) {}

    bool Read(Part& top, const char* contentType) {
        const char* const begin = cursor_.GetNext();
        if (state_.options.mboxLine) SkipMboxLine();
        const bool read = state_.CountPart() && state_.CheckDepth(0) &&
                          ReadHead(top, begin, contentType, false) && ReadTop(top);
        // The children of the top entity stay when reading fails too, in their right order.
        if (!levels_.empty()) levels_.front().PutRootsFirst();
        return read;
    }

private:
    /// Where the text between the bodies goes on.
    struct Place {
        const char* before = nullptr;  ///< the end of the text before it, line end included
        size_t level = 0;              ///< whose delimiter it is
        bool last = false;             ///< the delimiter closes its entity
        bool isEnd = false;            ///< there is no delimiter: the text ends
    };

    void SkipMboxLine();
    bool ReadHead(Part& part, const char* begin, const char* contentType, bool isInDigest);
    bool ReadTop(Part& top);
    bool ReadLevels();
    bool ReadChild();
    bool ReadLeaf(std::unique_ptr<Part>& part);

    bool HasChildren(const Part& part) const noexcept {
        return !part.info.boundary.IsEmpty() || part.info.isMessage;
    }
    template <class Owner>
    bool Open(Owner&& part);
    bool Close();
    bool CloseLevelsInside(const Place& place);
    bool CloseAll(const char* end);
    bool RereadAsBody();

    bool IsUnusedBoundary(const Place& place) const noexcept;
    bool FindDelimiter(Place& place);
    bool FindDelimiterLine(Place& place);
    bool TakeDelimiter(const Place& place, bool& complete);
    bool IsDoubledDelimiter();
    BodyEnd GetBodyEnd() noexcept;
    void KeepText(const char* begin, const char* end) noexcept;

    ReadState& state_;
    Cursor& cursor_;
    std::vector<Level> levels_;  ///< from the top entity down
    BoundarySet boundaries_;     ///< of the levels, with ReadOptions::wholeLineDelimiters
    Part* closed_ = nullptr;     ///< the multipart whose epilogue the cursor stands in
};

/// RFC 4155; ">From " is what mail programs make of such a line inside a message. With a ":" it is
/// a field whose name has white space behind it.
void EntityReader::SkipMboxLine() {
    std::string_view line = PeekLine(cursor_, state_.GetLineRules()).text;
    if (!line.starts_with("From ") && !line.starts_with(">From ")) return;
    line.remove_prefix(line.find(' '));
    const size_t next = line.find_first_not_of(" \t");
    if (next != std::string_view::npos && line[next] == ':') return;
    state_.Note(Deviation::mboxLine, cursor_.GetNext());
    TakeLine(cursor_, state_.GetLineRules());
}

/// @param begin  of the header block, an mbox line before it included.
bool EntityReader::ReadHead(Part& part, const char* begin, const char* contentType,
                            bool isInDigest) {
    if (contentType == nullptr) {
        if (!ReadHeaderBlock(part, state_, &boundaries_, begin)) return false;
    } else {
        const AnsiStr text(contentType);
        HeaderMap::Node* field = part.headers.FindOrInsert(Header::Content_Type);
        if (field == nullptr ||
            !ParseHeaderValue(field->value, {text.GetStr(), text.GetLength()})) {
            return false;
        }
    }
    return SetInfoFromHeaders(part, state_, begin, isInDigest);
}

bool EntityReader::ReadTop(Part& top) {
    if (HasChildren(top)) return Open(top) && ReadLevels();
    if (!state_.options.singlePart) return state_.Fail(Messages::kBoundaryMissing);
    return ReadBody(top, state_, BodyEnd());
}

template <class Owner>
bool EntityReader::Open(Owner&& part) {
    levels_.emplace_back(std::forward<Owner>(part), cursor_);
    if (state_.options.wholeLineDelimiters) {
        boundaries_.Push(levels_.back().GetPart().info.boundary, cursor_.GetNext());
    }
    return true;
}

/// The innermost entity is complete: its place is in the one outside.
bool EntityReader::Close() {
    std::unique_ptr<Part> complete = levels_.back().Complete();
    levels_.pop_back();
    if (state_.options.wholeLineDelimiters) boundaries_.Pop();
    if (levels_.empty()) return true;
    state_.LeaveEntity();
    return levels_.back().Attach(complete);
}

/// The text is at a delimiter: what is open inside its level is complete.
bool EntityReader::CloseLevelsInside(const Place& place) {
    while (levels_.size() > place.level + 1) {
        if (!levels_.back().IsMessage()) state_.Note(Deviation::missingInnerEnd, place.before);
        if (!Close()) return false;
    }
    return true;
}

bool EntityReader::CloseAll(const char* end) {
    while (levels_.size() > 1) {
        if (!levels_.back().IsMessage()) state_.Note(Deviation::missingEnd, end);
        if (!Close()) return false;
    }
    if (!levels_.front().IsMessage()) state_.Note(Deviation::missingEnd, end);
    return true;
}

/// Goes on from delimiter to delimiter until the top entity is complete.
bool EntityReader::ReadLevels() {
    for (bool complete = false; !complete;) {
        Level& level = levels_.back();
        if (level.IsMessage() && level.CountChildren() == 0) {
            if (!ReadChild()) return false;
        } else if (level.IsMessage() && levels_.size() == 1) {
            KeepText(cursor_.GetNext(), cursor_.GetNext() + cursor_.GetLeft());
            return true;
        } else if (level.IsMessage()) {
            if (!Close()) return false;
        } else {
            const char* const begin = cursor_.GetNext();
            Place place;
            if (!FindDelimiter(place)) return false;
            if (IsUnusedBoundary(place)) {
                if (!RereadAsBody()) return false;
                complete = levels_.empty();
            } else {
                KeepText(begin, place.before);
                if (!TakeDelimiter(place, complete)) return false;
            }
        }
    }
    return true;
}

bool EntityReader::TakeDelimiter(const Place& place, bool& complete) {
    complete = place.isEnd || (place.last && place.level == 0);
    if (place.isEnd) return CloseAll(place.before);
    if (!CloseLevelsInside(place)) return false;
    if (!place.last) {
        levels_.back().NoteDelimiter();
        return IsDoubledDelimiter() || ReadChild();
    }
    closed_ = &levels_.back().GetPart();
    if (!complete) return Close();
    KeepText(cursor_.GetNext(), cursor_.GetNext() + cursor_.GetLeft());
    return true;
}

/// Behind a delimiter: does another follow at once? Between the two there is no entity.
bool EntityReader::IsDoubledDelimiter() {
    DelimiterLine next;
    if (!state_.options.wholeLineDelimiters || !boundaries_.Match(cursor_.GetNext(), next)) {
        return false;
    }
    state_.Note(Deviation::doubledDelimiter, next.begin);
    return true;
}

/// Moves behind the next delimiter.
bool EntityReader::FindDelimiter(Place& place) {
    if (state_.options.wholeLineDelimiters) return FindDelimiterLine(place);
    // The text before the delimiter is not told apart from it here, and so not kept.
    place.before = cursor_.GetNext();
    place.level = levels_.size() - 1;
    if (SkipToBoundary(cursor_, levels_.back().GetDelimiter(), place.last, state_.error,
                       state_.GetLineRules())) {
        return true;
    }
    if (!state_.options.openEnd || cursor_.GetLeft() != 0) return false;
    state_.error = AnsiStr();
    place.isEnd = true;
    return true;
}

bool EntityReader::FindDelimiterLine(Place& place) {
    const char* const begin = cursor_.GetNext();
    const char* const end = begin + cursor_.GetLeft();
    DelimiterLine found;
    if (boundaries_.Find(begin, begin, end, found)) {
        place = {found.begin, found.level, found.last, false};
        cursor_.Skip(static_cast<uint64_t>(found.end - begin));
        return true;
    }
    cursor_.Skip(cursor_.GetLeft());
    if (!state_.options.openEnd) return state_.Fail(Messages::kTextBoundaryMissing);
    place = {end, 0, false, true};
    return true;
}

/// Keeps what stands before the first child or behind the last one.
void EntityReader::KeepText(const char* begin, const char* end) noexcept {
    Part* closed = std::exchange(closed_, nullptr);
    if (!state_.options.keepSource) return;
    std::string_view text(begin, static_cast<size_t>(end - begin));
    // The last line end belongs to the delimiter.
    if (end != cursor_.GetNext() + cursor_.GetLeft())
        text = TrimLineEnd(text, state_.GetLineRules());
    if (closed != nullptr) {
        closed->epilogue = text;
    } else if (levels_.back().CountChildren() == 0) {
        levels_.back().GetPart().preamble = text;
    }
}

/// Does the innermost entity end without ever having had a child?
bool EntityReader::IsUnusedBoundary(const Place& place) const noexcept {
    if (!state_.options.multipartAsBody || levels_.back().HasDelimiter()) return false;
    return place.isEnd || place.last || place.level + 1 < levels_.size();
}

/// The innermost entity has a boundary that never comes: its text is one body.
bool EntityReader::RereadAsBody() {
    Level& level = levels_.back();
    Part& part = level.GetPart();
    cursor_ = level.GetBody();
    state_.Note(Deviation::unusedBoundary, cursor_.GetNext());
    part.info.boundary = AnsiStr();
    std::unique_ptr<Part> child = level.Complete();
    levels_.pop_back();
    if (state_.options.wholeLineDelimiters) boundaries_.Pop();
    if (levels_.empty()) return ReadBody(part, state_, BodyEnd());
    return ReadLeaf(child);
}

BodyEnd EntityReader::GetBodyEnd() noexcept {
    if (state_.options.wholeLineDelimiters) return BodyEnd(boundaries_);
    for (size_t i = levels_.size(); i-- > 0;) {
        if (!levels_[i].IsMessage()) return BodyEnd(levels_[i].GetDelimiter());
    }
    return BodyEnd();
}

/// Reads a child of the innermost level: to its end when it is a single part; otherwise its header
/// block, and it becomes the innermost level itself.
bool EntityReader::ReadChild() {
    if (!state_.CountPart() || !state_.CheckDepth(levels_.size())) return false;
    std::unique_ptr<Part> child(new (std::nothrow) Part);
    if (child == nullptr) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorNotEnoughMemory);
        return false;
    }
    const Level& level = levels_.back();
    state_.EnterEntity(level.CountChildren() + 1);
    const char* const begin = cursor_.GetNext();
    if (level.IsMessage() && state_.options.mboxLine) SkipMboxLine();
    if (!ReadHead(*child, begin, nullptr, level.IsDigest())) return false;
    return HasChildren(*child) ? Open(std::move(child)) : ReadLeaf(child);
}

bool EntityReader::ReadLeaf(std::unique_ptr<Part>& part) {
    if (!ReadBody(*part, state_, GetBodyEnd())) return false;
    state_.LeaveEntity();
    return levels_.back().Attach(part);
}

}  // namespace

bool ReadEntity(Part& part, ReadState& state, const char* contentType) {
    return EntityReader(state).Read(part, contentType);
}

namespace {

/// A byte-order mark and blank lines before the header block do no harm.
Cursor MakeCursor(const char* text, uint64_t size) noexcept {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    Cursor cursor(text, size);
    if (cursor.GetRest().starts_with(kByteOrderMark)) cursor.Skip(kByteOrderMark.size());
    while (cursor.GetLeft() > 0 && (*cursor.GetNext() == '\r' || *cursor.GetNext() == '\n')) {
        cursor.Skip(1);
    }
    return cursor;
}

/// The files of the tree are gone.
void ForgetFiles(Part& top) {
    std::vector<Part*> parts{&top};
    while (!parts.empty()) {
        Part* part = parts.back();
        parts.pop_back();
        part->data.file = File();
        for (Part* child : part->parts) parts.push_back(child);
    }
}

bool ReadText(Part& top, std::string_view text, AnsiStr& error, const ReadOptions& options,
              ReadReport* report, const char* contentType) noexcept {
    error = AnsiStr();
    if (report != nullptr) *report = ReadReport();
    Cursor cursor = MakeCursor(text.data(), text.size());
    ReadState state(text.data(), cursor, error, options, report);
    try {
        if (ReadEntity(top, state, contentType)) return true;
        state.NoteFailure();
        if (options.removeFilesOnFailure) ForgetFiles(top);
    } catch (const std::bad_alloc&) {
        state.NoteFailure();
        KivGuiBase::SetLastError(KivGuiBase::kErrorNotEnoughMemory);
    }
    state.RemoveFiles();
    return false;
}

bool ReadFile(Part& top, const File& file, AnsiStr& error, const ReadOptions& options,
              ReadReport* report, const char* contentType) noexcept {
    error = AnsiStr();
    if (report != nullptr) *report = ReadReport();
    MemoryFile view;
    if (!view.Open(file, MemoryFile::Mode::read)) {
        if (report != nullptr) report->failed = true;
        return false;
    }
    const std::string_view text(view.GetData(), static_cast<size_t>(view.GetSize()));
    return ReadText(top, text, error, options, report, contentType);
}

}  // namespace

bool Part::Read(const char* text, unsigned long long size, AnsiStr& error,
                const char* contentType) noexcept {
    return ReadText(*this, {text, size}, error, ReadOptions(), nullptr, contentType);
}

bool Part::Read(const File& file, AnsiStr& error, const char* contentType) noexcept {
    return ReadFile(*this, file, error, ReadOptions(), nullptr, contentType);
}

bool Part::Read(const char* text, unsigned long long size, AnsiStr& error,
                const ReadOptions& options, ReadReport* report, const char* contentType) noexcept {
    return ReadText(*this, {text, size}, error, options, report, contentType);
}

bool Part::Read(const File& file, AnsiStr& error, const ReadOptions& options, ReadReport* report,
                const char* contentType) noexcept {
    return ReadFile(*this, file, error, options, report, contentType);
}

}  // namespace MIME
