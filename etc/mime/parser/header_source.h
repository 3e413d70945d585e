#pragma once

#include <string_view>

#include "mime/mime.h"

namespace MIME {

/// Fills a FieldList while a header block is read.
class HeaderSource {
public:
    /// @param begin  of the block's text, which stays where it is until Finish.
    HeaderSource(FieldList& fields, const char* begin) noexcept : fields_(fields), begin_(begin) {}

    /// Both views lie in the block.
    bool Add(std::string_view name, std::string_view value) noexcept;
    /// The block ends at `end`.
    bool Finish(const char* end) noexcept;

private:
    unsigned GetOffset(const char* place) const noexcept {
        return static_cast<unsigned>(place - begin_);
    }

    FieldList& fields_;
    const char* begin_;
};

}  // namespace MIME
