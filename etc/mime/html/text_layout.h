#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace MIME {

/// Lays text out in lines, as blocks that follow each other or are inside others. What separates two
/// pieces of text (spaces, line ends, empty lines) is written before the second, so nothing is left at
/// the end of a line.
class TextLayout {
public:
    static constexpr size_t kNoText = static_cast<size_t>(-1);

    enum class Space {
        collapsed,
        kept,  ///< blanks and line ends are text, as in <pre>
    };

    /// Appends UTF-8. Control characters and those without width are removed.
    void AppendText(std::string_view text, Space space = Space::collapsed);
    /// Appends to the last line what is no text of the document, such as a URL: kept as it is. A word
    /// that follows at once is separated by a space.
    void AppendNote(std::string_view note);

    /// Begins another block: the next text begins a line.
    void BreakLine() { RequestBreaks(1); }
    /// The same, after an empty line.
    void BreakParagraph() { RequestBreaks(2); }
    /// Ends the line, which may be empty.
    void EndLine();

    /// Begins a block whose lines begin with `prefix`, and its first line with `first`, which has the
    /// same length. It ends with Unindent of that length.
    void Indent(std::string_view prefix, std::string_view first);
    void Unindent(size_t length);

    /// Begins a cell, in which empty lines at the start and the end do not count.
    /// @return what EndCell wants.
    size_t BeginCell();
    /// @return the offset of the first text in the cell, kNoText when it has none.
    size_t EndCell(size_t outer);

    /// All lines so far; the last has no end yet.
    const std::string& GetLines() const noexcept { return lines_; }
    /// Replaces the lines from this offset on.
    void Replace(size_t offset, std::string_view text);

    /// The lines, the last with its end.
    std::string Finish() &&;

private:
    void RequestBreaks(unsigned breaks);
    void AppendSpace(char c, Space space);
    void AppendCharacter(std::string_view character, Space space);
    void Write(std::string_view text);
    void BeginLine();

    std::string lines_;
    size_t lineStart_ = 0;     ///< of the last line
    unsigned breaks_ = 1;      ///< line ends before the next text, at most 2
    size_t spaces_ = 0;        ///< blanks before the next text
    bool hasBlank_ = false;    ///< the line at which we are has only no-break spaces
    std::string_view joiner_;  ///< a joiner after the last character
    bool isAfterNote_ = false;

    std::string prefix_;
    std::string first_;           ///< the prefix of the next line
    size_t sharedPrefix_ = 0;     ///< how much of the prefix the last line and the next share
    size_t firstText_ = kNoText;  ///< in the cell
};

}  // namespace MIME
