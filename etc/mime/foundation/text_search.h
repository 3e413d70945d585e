#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "kivgui/ansi_str.h"

namespace MIME {

/// Finds the end of the line at the start of `text`: the first CR LF or the first NUL, whichever
/// comes first. A NUL that is the last byte does not count.
/// @return its offset; `size` when there is none. One pass, 16 bytes a step.
size_t FindLineStop(const char* text, size_t size) noexcept;

/// Searches texts for one fixed string.
///
/// Fast where the string is rare, 16 places a step, and linear in the text for any text and string:
/// when too much of the work goes into places that almost match, the search goes on with a table
/// (Knuth, Morris and Pratt), which is made once.
class TextFinder {
public:
    static constexpr size_t kNotFound = SIZE_MAX;

    /// @param wanted  what to look for, at least 1 character.
    explicit TextFinder(const KivGuiBase::AnsiStr& wanted) noexcept : wanted_(wanted) {}

    const KivGuiBase::AnsiStr& GetWanted() const noexcept { return wanted_; }
    size_t GetLength() const noexcept { return wanted_.GetLength(); }

    /// Offset of the first occurrence; kNotFound when there is none.
    size_t Find(std::string_view text) noexcept;

private:
    size_t FindByTable(std::string_view text) noexcept;
    bool MakeTable() noexcept;

    KivGuiBase::AnsiStr wanted_;
    /// For each length of a match, the length of the next shorter one that ends at the same place.
    std::unique_ptr<uint32_t[]> shorterMatches_;
};

}  // namespace MIME
