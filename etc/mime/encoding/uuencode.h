#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "kivgui/export.h"

namespace MIME {

/// A uuencoded file in a text: where it is, and what its lines say. Offsets are bytes of the text.
struct UuBlock {
    std::string name;           ///< as it is in the text: any bytes, not safe to use as a path
    unsigned mode = 0;          ///< the permissions, such as 0644
    size_t begin = 0;           ///< the start of the line "begin ..."
    size_t end = 0;             ///< after the line "end", or after the last line with data
    size_t decodedSize = 0;     ///< bytes
    size_t malformedLines = 0;  ///< lines between those with data that hold none; they are skipped
    bool isComplete = false;    ///< the block has its line "end"
};

/// Finds the uuencoded blocks of a text (POSIX, uuencode): "begin 644 NAME", lines of data, "end".
///
/// A line "begin 644 x" in prose begins no block: lines of data of the right length must follow it.
/// Zeros may be written as "`" or as blanks, and blanks at the end of a line may be missing, because
/// mail programs remove them. A checksum character at the end of a line is ignored. A block without
/// "end" is incomplete: it ends before another line "begin ..." or where more than 3 lines in a row
/// hold no data.
///
/// @param text  lines end in CR LF or LF.
/// @return the blocks in the order of the text; they do not overlap.
/// Throws std::bad_alloc. Takes linear time. Any thread.
KIV_EXPORT std::vector<UuBlock> FindUuencoded(std::string_view text);

/// The first `most` blocks that can be nothing but files, for programs that take them out of a text: with
/// a name, a line of data, and "end". Otherwise as above.
KIV_EXPORT std::vector<UuBlock> FindUuencodedFiles(std::string_view text, size_t most);

/// Reads a line "begin 644 NAME" into `mode` and `name` of a block.
/// @return false when it is none. Throws std::bad_alloc. Any thread.
KIV_EXPORT bool ReadUuBegin(std::string_view line, UuBlock& block);

/// The file in a block, which must be one that FindUuencoded found in this text.
/// @return `block.decodedSize` bytes. Throws std::bad_alloc.
KIV_EXPORT std::string DecodeUuencoded(std::string_view text, const UuBlock& block);
/// The same in pieces, in bounded memory. @return false when the sink did, which stops it.
KIV_EXPORT bool DecodeUuencoded(std::string_view text, const UuBlock& block,
                                const std::function<bool(std::string_view piece)>& sink);

}  // namespace MIME
