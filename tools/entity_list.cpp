#include "entity_list.h"

#include <algorithm>

namespace Tool {

namespace {

constexpr unsigned kMaxDottedDepth = 16;

std::string MakePositionIndex(size_t position) {
    return "@" + std::to_string(position + 1);
}

/// An entity that is still to be listed, with its place among its parent's children, from 1.
struct Waiting {
    const MIME::Part* part;
    size_t parent;
    unsigned place;
};

Entity MakeEntity(const Waiting& waiting, const std::vector<Entity>& listed) {
    if (waiting.parent == Entity::kNoParent) return {waiting.part, Entity::kNoParent, 0, "1"};
    const Entity& parent = listed[waiting.parent];
    const unsigned depth = parent.depth + 1;
    return {waiting.part, waiting.parent, depth,
            depth <= kMaxDottedDepth ? parent.index + "." + std::to_string(waiting.place)
                                     : MakePositionIndex(listed.size())};
}

std::string_view GetParameter(const MIME::Part& part, const char* field, const char* name) {
    const MIME::HeaderMap::Node* found = part.headers.Find(field);
    if (found == nullptr) return {};
    const MIME::ParameterMap::Node* parameter = found->value.parameters.Find(name);
    return parameter != nullptr ? std::string_view(parameter->value.value) : std::string_view();
}

}  // namespace

std::vector<Entity> ListEntities(const MIME::Part& message) {
    std::vector<Entity> listed;
    std::vector<Waiting> stack = {{&message, Entity::kNoParent, 1}};
    while (!stack.empty()) {
        const Waiting next = stack.back();
        stack.pop_back();
        const size_t position = listed.size();
        listed.push_back(MakeEntity(next, listed));
        for (unsigned i = next.part->parts.GetCount(); i-- > 0;) {
            stack.push_back({next.part->parts[i], position, i + 1});
        }
    }
    return listed;
}

std::span<const Entity> FindSubtree(const std::vector<Entity>& entities, const std::string& index) {
    for (size_t first = 0; first < entities.size(); ++first) {
        if (entities[first].index != index && MakePositionIndex(first) != index) continue;
        const unsigned depth = entities[first].depth;
        const auto begin = entities.begin() + static_cast<std::ptrdiff_t>(first);
        const auto end = std::find_if(begin + 1, entities.end(),
                                      [depth](const Entity& next) { return next.depth <= depth; });
        return {begin, end};
    }
    return {};
}

std::string_view GetMediaType(const MIME::Part& part) {
    const MIME::HeaderMap::Node* field = part.headers.Find("Content-Type");
    return field != nullptr ? std::string_view(field->value.value) : std::string_view();
}

std::string_view GetFileName(const MIME::Part& part) {
    const std::string_view name = GetParameter(part, "Content-Disposition", "filename");
    return name.empty() ? GetParameter(part, "Content-Type", "name") : name;
}

}  // namespace Tool
