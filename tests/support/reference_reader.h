#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "support/tree_dump.h"

namespace MIME::Test {

struct ReferenceResult {
    bool read = false;
    std::string error;
    PlainPart top;
    /// Every body that was begun, in order, those of discarded entities and unfinished ones too.
    std::vector<std::string> bodies;
};

/// A second reader of message text, to be compared with Part::Read: it has the rules, a byte and
/// a comparison at a time, and nothing that makes a reader fast or safe. It descends by recursion
/// and takes quadratic time; give it small texts. Only the vocabulary is shared.
///
/// @param contentType  null, or a Content-Type value that stands in for the top header block.
ReferenceResult ReadByReference(std::string_view text, const char* contentType);

}  // namespace MIME::Test
