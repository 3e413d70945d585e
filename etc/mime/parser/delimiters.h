#pragma once

#include <memory>
#include <string_view>

#include "mime/parser/reading.h"

namespace MIME {

/// A line that ends or divides a multipart entity (RFC 2046, 5.1.1).
struct BoundaryLine {
    const char* before = nullptr;  ///< the end of the text before it, its line end included
    const char* after = nullptr;   ///< the start of the next line
    size_t level = 0;              ///< of the open entity that it belongs to
    bool closing = false;          ///< it closes that entity
    bool isEnd = false;            ///< there is no such line: the text ends (mail rules only)
};

/// A piece of an encoded body.
struct BodyPiece {
    std::string_view text;
    uint64_t extent = 0;  ///< bytes for the cursor to skip once the piece is taken
    bool isLast = false;
};

/// The boundaries of the open entities, and what ends a body: one rule for each of `Rules`.
///
/// Exact rule: only the innermost boundary counts. A delimiter is "--" and the boundary anywhere in a
/// line, whatever follows on that line; for an encoded body it must begin its line.
/// Mail rule: the boundary of every open entity counts, and a boundary line is a whole line, with
/// nothing but blanks after it (RFC 2046, 5.1.1).
///
/// Both take time linear in the text, whatever boundaries and text hold. Throws std::bad_alloc.
class Delimiters {
public:
    static std::unique_ptr<Delimiters> Make(Reading& reading);
    virtual ~Delimiters() = default;
    Delimiters(const Delimiters&) = delete;
    Delimiters& operator=(const Delimiters&) = delete;

    /// Opens the next level. An empty boundary, of an entity that carries a message, matches nothing.
    virtual void Open(const AnsiStr& boundary) = 0;
    virtual void Close() noexcept = 0;

    /// Moves the cursor past the next boundary line.
    /// @return false, with a message, when the rule needs one and there is none.
    virtual bool SkipToBoundary(BoundaryLine& found) = 0;
    /// Is the line at `line` a boundary line, so that a header block may end there? Never, by the
    /// exact rule.
    virtual bool IsBoundaryLine(const char* line) const noexcept = 0;

    /// A body begins at the cursor.
    /// @param isIdentity  it is copied, not decoded.
    virtual void BeginBody(bool isIdentity) noexcept = 0;
    /// Gives the next piece at the cursor, small enough to be in the cache when it is decoded: text
    /// without a delimiter in it, and without the line end before the delimiter.
    /// @return false, with a message, when the body does not end as the rule demands.
    virtual bool NextPiece(BodyPiece& piece) = 0;

protected:
    Delimiters() = default;
};

}  // namespace MIME
