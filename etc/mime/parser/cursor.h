#pragma once

#include <cstdint>
#include <string_view>

namespace MIME {

/// The reader's place in the text. Every reading step shares one by reference and only ever moves
/// it forward.
class Cursor {
public:
    Cursor(const char* text, uint64_t size) noexcept : next_(text), left_(size) {}

    const char* GetNext() const noexcept { return next_; }
    uint64_t GetLeft() const noexcept { return left_; }
    std::string_view GetRest() const noexcept { return {next_, static_cast<size_t>(left_)}; }

    /// Moves past `count` bytes, which must be there.
    void Skip(uint64_t count) noexcept {
        next_ += count;
        left_ -= count;
    }

private:
    const char* next_;
    uint64_t left_;
};

/// The line at a cursor, without its line end.
struct Line {
    enum class Kind {
        ended,   ///< CR LF ends it
        rest,    ///< the text ends first; NUL, CR and LF bytes at the end are cut off
        hasNul,  ///< a NUL stands in it
    };

    Kind kind;
    std::string_view text;
    uint64_t extent;  ///< bytes to skip to stand behind it
};

/// What lines are made of, beside text and CR LF.
struct LineRules {
    bool lineFeeds = false;  ///< LF alone ends a line too
    bool nuls = false;       ///< a NUL is text
};

/// Looks at the line at the cursor, which stays where it is.
///
/// With rules other than the default a last line without a line end is given as it stands.
Line PeekLine(const Cursor& cursor, LineRules rules = {}) noexcept;

/// The same, and moves the cursor behind the line.
Line TakeLine(Cursor& cursor, LineRules rules = {}) noexcept;

/// The text without the line end behind it, if it has one.
std::string_view TrimLineEnd(std::string_view text, LineRules rules) noexcept;

}  // namespace MIME
