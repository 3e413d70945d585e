#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <mime/mime.h>

namespace Tool {

/// An entity of a message and its place in the tree.
struct Entity {
    static constexpr size_t kNoParent = static_cast<size_t>(-1);

    const MIME::Part* part;
    size_t parent;      ///< the parent's position in the list; kNoParent for the whole message
    unsigned depth;     ///< 0 for the whole message
    std::string index;  ///< "1" for the whole message, "1.2" for its second child; see ListEntities

    bool IsLeaf() const { return part->parts.IsEmpty() && part->info.boundary.IsEmpty(); }
};

/// All entities of a message as a list, each before its children: a tree may be deeper than the stack.
///
/// The index of an entity more than 16 levels down is its position in the list, from "@1" for the
/// whole message: dotted indices of a deep tree would take memory quadratic in its depth.
std::vector<Entity> ListEntities(const MIME::Part& message);

/// The entity with that index, dotted or by position, and all below it; empty when there is none.
std::span<const Entity> FindSubtree(const std::vector<Entity>& entities, const std::string& index);

/// The media type as the entity states it; empty when it does not.
std::string_view GetMediaType(const MIME::Part& part);

/// The file name that the sender gave: the parameter "filename" of Content-Disposition, or
/// "name" of Content-Type. Untrusted; empty when there is none.
MIME::AnsiStr GetFileName(const MIME::Part& part);

/// A header field to be shown.
struct Field {
    std::string name;
    std::string value;
    const MIME::ParameterMap* parameters = nullptr;  ///< the part's; null when there are none

    const MIME::ParameterMap& GetParameters() const;
};

/// The fields of an entity. With the mail rules: all of them in order, decoded. With the exact
/// rules: those of the map, except those that the reader added.
std::vector<Field> ListFields(const MIME::Part& part);

/// Returns true for the one parameter that the reader itself adds, without a value.
bool IsAdded(const MIME::ParameterMap::Node& parameter);

}  // namespace Tool
