#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace MIME {

/// What decides how a body may be sent. Sizes are in bytes, lines without their CR LF.
struct BodyTraits {
    uint64_t size = 0;
    uint64_t longestLine = 0;
    uint64_t quotedSize = 0;  ///< as quoted-printable; right but for a few bytes in each long line
    bool hasNul = false;
    bool hasControls = false;          ///< other than NUL, tab, CR and LF
    bool hasBareLineEnds = false;      ///< a CR or LF that is not part of a CR LF
    bool hasBlanksAtLineEnds = false;  ///< at the end of the body too
    bool hasExposedStarts = false;     ///< a line begins with "." or "From "
    bool hasBoundaryLines = false;     ///< a line begins with "--" and a boundary
    /// A line of quoted-printable could begin with "--" and a boundary.
    bool hasQuotedBoundaryLines = false;
};

/// Texts that others may begin with.
class Prefixes {
public:
    explicit Prefixes(std::vector<std::string> prefixes);

    /// Returns true if one of them begins `text`. Takes hardly longer for many of them.
    bool BeginAny(std::string_view text) const noexcept;

private:
    std::vector<std::string> sorted_;  ///< none begins another
};

/// Tells what characters a text has.
class CharacterSurvey {
public:
    /// How many bytes after those that it takes Take must see, unless the text ends there.
    static constexpr size_t kLookAhead = 3;

    /// Takes the next `size` bytes of a text, from the start of `text`.
    void Take(std::string_view text, size_t size) noexcept;

    bool IsAscii() const noexcept { return isAscii_; }
    bool IsUtf8() const noexcept { return isUtf8_; }

private:
    bool isAscii_ = true;
    bool isUtf8_ = true;
    size_t ahead_ = 0;  ///< bytes after those taken that have been looked at
};

/// Looks through the lines and characters of a body in one pass.
class BodySurvey {
public:
    explicit BodySurvey(std::span<const std::string> boundaries);

    /// How many bytes after those that it takes Take must see.
    size_t GetLookAhead() const noexcept { return lookAhead_; }
    /// Takes bytes from the start of a text, with `isLast` all and else all but GetLookAhead().
    /// @return how many.
    size_t Take(std::string_view text, bool isLast);
    /// After the last Take.
    const BodyTraits& GetTraits() const noexcept { return traits_; }
    const CharacterSurvey& GetCharacters() const noexcept { return characters_; }

private:
    void TakeLines(std::string_view text, size_t& next, size_t stop);
    void TakeControl(std::string_view text, size_t& next);
    void BeginLine(std::string_view text);
    void EndLine(uint64_t end, char last);

    size_t lookAhead_;
    Prefixes boundaries_;
    Prefixes quotedBoundaries_;

    BodyTraits traits_;
    CharacterSurvey characters_;
    bool isAtLineStart_ = true;
    char last_ = '\0';        ///< the last byte taken
    uint64_t lineBegin_ = 0;  ///< offset in the body
    uint64_t lineEscapes_ = 0;
};

}  // namespace MIME
