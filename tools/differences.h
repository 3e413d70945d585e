#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <mime/mail.h>

namespace Tool {

/// Something in which two messages differ.
struct Difference {
    /// "entity", "type", "encoding", "charset", "disposition", "fileName", "parameters", "field",
    /// "order" (of fields), "body" or "bytes" (of the whole message).
    std::string kind;
    std::string index;                ///< of the entity as show prints it; empty for the bytes
    std::string name;                 ///< of a field
    std::optional<std::string> a, b;  ///< what they have; nothing: they lack it
    std::optional<uint64_t> offset;   ///< of the first byte that differs, in a body or the message
};

/// Compares two messages: entities of the same index with each other, their fields by name, and their
/// bodies decoded.
/// @param contentOnly  passes over what readers do not see: the bytes, the order of fields, transfer
///                     encodings, boundaries, and how the lines of texts end.
/// @return nothing when they are equal. Takes memory for a decoded body of each.
std::vector<Difference> FindDifferences(const MIME::Mail& a, const MIME::Mail& b, bool contentOnly);

}  // namespace Tool
