#include "mime/parser/entity_reader.h"

#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "mime/parser/body_name.h"
#include "mime/parser/body_reader.h"
#include "mime/parser/content_fields.h"
#include "mime/parser/delimiter.h"
#include "mime/parser/header_block.h"
#include "mime/parser/messages.h"

namespace MIME {

namespace {

/// A multipart entity whose children are being read.
class Level {
public:
    /// The top entity, which the caller owns.
    explicit Level(Part& part) : part_(&part), delimiter_(part.info.boundary) {
        // Without memory for its text a delimiter would be found everywhere.
        if (delimiter_.GetLength() == 0) throw std::bad_alloc();
        const HeaderMap::Node* type = part.headers.Find("Content-Type");
        if (type == nullptr) return;
        const ParameterMap::Node* start = type->value.parameters.Find("start");
        if (start != nullptr) start_ = start->value.value;
    }
    /// A nested entity, which goes with its level unless that is completed.
    explicit Level(std::unique_ptr<Part> part) : Level(*part) { owned_ = std::move(part); }

    Delimiter& GetDelimiter() noexcept { return delimiter_; }

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
    Delimiter delimiter_;
    AnsiStr start_;                ///< the Content-ID of the root part, angle brackets included
    SharedArray<unsigned> roots_;  ///< places of the children that have it, ascending
};

/// The descent, with a stack of its own, because the text decides how deep it goes.
class EntityReader {
public:
    EntityReader(Cursor& cursor, AnsiStr& error) noexcept : cursor_(cursor), error_(error) {}

    bool Read(Part& top, const char* contentType) {
        const bool read = ReadHead(top, contentType) && ReadTree(top);
        // The children of the top entity stay when reading fails too, in their right order.
        if (!levels_.empty()) levels_.front().PutRootsFirst();
        return read;
    }

private:
    bool ReadHead(Part& part, const char* contentType) noexcept;
    bool ReadTree(Part& top);
    bool ReadChild();

    Cursor& cursor_;
    AnsiStr& error_;
    std::vector<Level> levels_;  ///< from the top entity down
};

bool EntityReader::ReadHead(Part& part, const char* contentType) noexcept {
    if (contentType == nullptr) {
        if (!ReadHeaderBlock(part, cursor_, error_)) return false;
    } else {
        const AnsiStr text(contentType);
        HeaderMap::Node* field = part.headers.FindOrInsert(Header::Content_Type);
        if (field == nullptr ||
            !ParseHeaderValue(field->value, {text.GetStr(), text.GetLength()})) {
            return false;
        }
    }
    return SetInfoFromHeaders(part, error_);
}

bool EntityReader::ReadTree(Part& top) {
    if (top.info.boundary.IsEmpty()) {
        error_ = Messages::kBoundaryMissing;
        return false;
    }
    levels_.emplace_back(top);
    for (;;) {
        bool last = false;
        if (!SkipToBoundary(cursor_, levels_.back().GetDelimiter(), last, error_)) return false;
        if (!last) {
            if (!ReadChild()) return false;
        } else if (levels_.size() == 1) {
            return true;
        } else {
            std::unique_ptr<Part> complete = levels_.back().Complete();
            levels_.pop_back();
            if (!levels_.back().Attach(complete)) return false;
        }
    }
}

/// Reads a child of the innermost level: to its end when it is a single part; when it is
/// multipart, its header block, and it becomes the innermost level itself.
bool EntityReader::ReadChild() {
    std::unique_ptr<Part> child(new (std::nothrow) Part);
    if (child == nullptr) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorNotEnoughMemory);
        return false;
    }
    if (!ReadHead(*child, nullptr)) return false;
    if (!child->info.boundary.IsEmpty()) {
        levels_.emplace_back(std::move(child));
        return true;
    }
    Level& level = levels_.back();
    return ReadBody(*child, cursor_, level.GetDelimiter(), error_) && level.Attach(child);
}

}  // namespace

bool ReadEntity(Part& part, Cursor& cursor, AnsiStr& error, const char* contentType) {
    return EntityReader(cursor, error).Read(part, contentType);
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

}  // namespace

bool Part::Read(const char* text, unsigned long long size, AnsiStr& error,
                const char* contentType) noexcept {
    error = AnsiStr();
    try {
        Cursor cursor = MakeCursor(text, size);
        return ReadEntity(*this, cursor, error, contentType);
    } catch (const std::bad_alloc&) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorNotEnoughMemory);
        return false;
    }
}

bool Part::Read(const File& file, AnsiStr& error, const char* contentType) noexcept {
    error = AnsiStr();
    MemoryFile view;
    return view.Open(file, MemoryFile::Mode::read) &&
           Read(view.GetData(), view.GetSize(), error, contentType);
}

}  // namespace MIME
