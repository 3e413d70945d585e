#pragma once

#include <string_view>
#include <unordered_map>
#include <vector>

#include "mime/parser/read_state.h"

namespace MIME {

/// A line that is a delimiter of some open entity.
struct DelimiterLine {
    const char* begin = nullptr;  ///< of the line
    const char* end = nullptr;    ///< behind its line end
    size_t level = 0;             ///< of the boundary, as Push counted them
    bool last = false;            ///< it closes the entity
};

/// The boundaries of the entities that are open, and the search for lines that are one of their
/// delimiters: "--", the boundary, "--" when it closes the entity, and blanks (RFC 2046, 5.1.1).
///
/// Linear in the text, whatever boundaries and text hold. Throws std::bad_alloc.
class BoundarySet {
public:
    /// @param textEnd  where lines end at the latest.
    BoundarySet(ReadState& state, const char* textEnd) noexcept
        : state_(state), textEnd_(textEnd) {}

    /// Opens the next level. An empty boundary matches nothing.
    void Push(const AnsiStr& boundary, const char* where);
    void Pop() noexcept;

    /// Is the line at `line` a delimiter?
    bool Match(const char* line, DelimiterLine& found) const noexcept;

    /// The first delimiter line that begins between `from`, where a line begins, or which stands in
    /// the text that began there, and `stop`. Notes what only looks like a delimiter.
    /// @param lineStart  the place, at or before `from`, where the first line begins.
    bool Find(const char* lineStart, const char* from, const char* stop, DelimiterLine& found);

private:
    struct Level {
        AnsiStr boundary;  ///< without blanks at its end, which no delimiter line has
        size_t shadowed;   ///< the level outside with the same boundary; kNone for none
    };
    static constexpr size_t kNone = SIZE_MAX;

    bool IsLineStart(const char* lineStart, const char* place) const noexcept;
    bool Lookup(std::string_view boundary, size_t& level) const noexcept;
    void NoteLookalike(const char* dashes, const char* dashesEnd, bool atLineStart);
    void NotePrefixes(const AnsiStr& boundary, const char* where);

    ReadState& state_;
    const char* textEnd_;
    std::vector<Level> levels_;
    std::unordered_map<std::string_view, size_t> innermost_;  ///< by boundary
    size_t longest_ = 0;  ///< no boundary so far was longer, with its blanks
};

}  // namespace MIME
