#include "entity_list.h"

#include <algorithm>
#include <set>

#include "kivgui/ascii.h"
#include "output.h"

// The entities of a tree as a list, in the order of the text, made with a stack of its own because the
// message decides how deep it goes. An entity has an index such as "1.2.3"; those nested too deep for that
// have their position instead.

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

MIME::AnsiStr GetFileName(const MIME::Part& part) {
    const MIME::AnsiStr name = part.headers.GetParameter("Content-Disposition", "filename");
    return name.IsEmpty() ? part.headers.GetParameter("Content-Type", "name") : name;
}

namespace {

Field MakeField(std::string_view name, const MIME::HeaderValue& value) {
    return {std::string(name), ToString(value.value), &value.parameters};
}

/// A field that is not in the map, because one of the same name came before it.
Field MakeRepeatedField(const MIME::FieldList::Field& field) {
    std::string value(field.value);
    std::erase_if(value, [](char c) { return c == '\r' || c == '\n'; });
    return {std::string(field.name), ToString(MIME::Decoding::Words(MIME::AnsiStr(value))),
            nullptr};
}

}  // namespace

const MIME::ParameterMap& Field::GetParameters() const {
    static const MIME::ParameterMap none;
    return parameters != nullptr ? *parameters : none;
}

std::vector<Field> ListFields(const MIME::Part& part) {
    std::vector<Field> fields;
    std::set<std::string> seen;
    for (unsigned i = 0; i < part.fields.GetCount(); ++i) {
        const MIME::FieldList::Field field = part.fields[i];
        std::string key(field.name);
        std::transform(key.begin(), key.end(), key.begin(), KivGuiBase::ToLowerAscii);
        const MIME::HeaderMap::Node* node = part.headers.Find(MIME::AnsiStr(field.name));
        const bool isFirst = seen.insert(key).second;
        fields.push_back(isFirst && node != nullptr ? MakeField(field.name, node->value)
                                                    : MakeRepeatedField(field));
    }
    if (part.fields.GetCount() > 0) return fields;
    for (const MIME::HeaderMap::Node& node : part.headers) {
        if (!node.value.value.IsEmpty()) fields.push_back(MakeField(node.key, node.value));
    }
    return fields;
}

bool IsAdded(const MIME::ParameterMap::Node& parameter) {
    return parameter.key == "filename" && parameter.value.value.IsEmpty();
}

}  // namespace Tool
