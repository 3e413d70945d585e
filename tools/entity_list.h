#pragma once

#include <cstddef>
#include <vector>

#include <mime/mime.h>

namespace Tool {

/// A part of a tree and its place there.
struct Entity {
    static constexpr size_t kNoParent = static_cast<size_t>(-1);

    const MIME::Part* part;
    size_t parent;   ///< the parent's position in the list; kNoParent for the whole message
    unsigned depth;  ///< 0 for the whole message

    bool IsLeaf() const { return part->parts.IsEmpty() && part->info.boundary.IsEmpty(); }
};

/// All parts of a tree as a list, each before its children: a tree may be deeper than the stack.
std::vector<Entity> ListEntities(const MIME::Part& message);

}  // namespace Tool
