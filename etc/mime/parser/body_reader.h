#pragma once

#include "mime/foundation/file_access.h"
#include "mime/mime.h"
#include "mime/parser/boundary_set.h"
#include "mime/parser/delimiter.h"
#include "mime/parser/read_state.h"

namespace MIME {

/// Where a body ends: at the enclosing entity's delimiter anywhere, at a delimiter line of any
/// entity that is open, or with the text.
class BodyEnd {
public:
    BodyEnd() noexcept = default;
    explicit BodyEnd(Delimiter& delimiter) noexcept : delimiter_(&delimiter) {}
    explicit BodyEnd(BoundarySet& boundaries) noexcept : boundaries_(&boundaries) {}

    Delimiter* GetDelimiter() const noexcept { return delimiter_; }
    bool IsOpen() const noexcept { return delimiter_ == nullptr && boundaries_ == nullptr; }

    /// Does the line at `place` end an encoded body?
    bool IsAt(const char* place, std::string_view line) const noexcept;

    /// The first line at or behind `from` that ends a body, and begins before `stop`.
    /// @param bodyBegin  a line begins there.
    /// @return null when there is none.
    const char* FindLine(const char* bodyBegin, const char* from, const char* stop,
                         const char* textEnd);

private:
    Delimiter* delimiter_ = nullptr;
    BoundarySet* boundaries_ = nullptr;
};

/// Reads the body of a single-part entity, up to its end, into a new temporary file that
/// `data.file` then names, or into memory when the options ask for it. The cursor is left where
/// the delimiter, or the line end before it, begins; behind the counted bytes when Content-Length
/// gave their number.
/// @return false, with a message; the file that was begun stays. Throws std::bad_alloc.
bool ReadBody(Part& part, ReadState& state, BodyEnd end);

/// The same by the reader's own rules.
bool ReadBody(Part& part, Cursor& cursor, Delimiter& delimiter, AnsiStr& error);

}  // namespace MIME
