#include "support/same_tree.h"

#include <algorithm>
#include <vector>

#include "kivgui/ascii.h"

namespace MIME::Test {

namespace {

using KivGuiBase::EqualsCaseless;

std::string_view GetFileName(const Part& part) {
    const HeaderMap& headers = part.headers;
    const HeaderMap::Node* field = headers.Find("Content-Disposition");
    const char* name = "filename";
    if (headers.GetParameter("Content-Disposition", name).IsEmpty()) {
        field = headers.Find("Content-Type");
        name = "name";
    }
    const auto* value = field != nullptr ? field->value.parameters.Find(name) : nullptr;
    return value != nullptr ? std::string_view(value->value.value) : std::string_view();
}

/// The children in the order of the tree of parts, which has the roots first.
std::vector<Entity> ListChildren(const Entity& entity) {
    const EntityRange range = entity.GetChildren();
    std::vector<Entity> children(range.begin(), range.end());
    const std::string start = entity.GetParameter("Content-Type", "start");
    if (start.empty()) return children;
    const auto others = std::stable_partition(
        children.begin(), children.end(),
        [&](const Entity& child) { return child.GetField("Content-ID") == start; });
    std::reverse(children.begin(), others);  // each is put before those that came before it
    return children;
}

bool IsInside(std::string_view text, std::string_view around) {
    return text.data() >= around.data() &&
           text.data() + text.size() <= around.data() + around.size();
}

/// A message that is carried encoded lies in a text of its own.
bool IsInside(const Entity& entity, const Entity& parent) {
    return IsInside(entity.GetRaw(), parent.GetRawBody()) ||
           (parent.CarriesMessage() && !entity.IsInSource() &&
            parent.Decode().ends_with(entity.GetRaw()));
}

std::string Compare(const Entity& entity, const Part& part) {
    const std::string where = " of " + entity.GetPath();
    const std::string type = DecodeRawHeader(part.info.contentType.GetStr());
    if (!EqualsCaseless(entity.GetMediaType(), type)) return "type" + where;
    if (entity.GetFileName() != DecodeRawHeader(GetFileName(part))) return "file name" + where;
    // There, an mbox line is part of the text of the fields, and so is the line end before a boundary
    // line that cuts them off.
    const std::string_view header = part.fields.GetText();
    if (header.find(entity.GetRawHeader()) == header.npos) return "header block" + where;
    std::string fields, fieldsOfPart;  // there, a name may be missing
    for (const Field& field : entity.GetFields()) {
        fields.append(field.name).append(":").append(field.raw).append("\n");
    }
    for (unsigned i = 0; i < part.fields.GetCount(); ++i) {
        const auto& [name, value] = part.fields[i];
        if (!name.empty()) fieldsOfPart.append(name).append(":").append(value).append("\n");
    }
    if (fields != fieldsOfPart) return "fields" + where;
    const std::vector<Entity> children = ListChildren(entity);
    if (children.size() != part.parts.GetCount()) return "children" + where;
    // A multipart whose boundary lines hold nothing has no body there.
    const bool hasBody = children.empty() && part.info.boundary.IsEmpty();
    if (hasBody && entity.Decode() != std::string_view(part.data.content)) return "body" + where;
    return {};
}

}  // namespace

std::string FindDifference(const Mail& mail, const Part& part) {
    std::vector<std::pair<Entity, const Part*>> open = {{mail.GetTop(), &part}};
    while (!open.empty()) {
        const auto [entity, same] = open.back();
        open.pop_back();
        std::string difference = Compare(entity, *same);
        if (!difference.empty()) return difference;
        const std::vector<Entity> children = ListChildren(entity);
        for (size_t i = 0; i < children.size(); ++i) {
            open.emplace_back(children[i], same->parts[static_cast<unsigned>(i)]);
            if (!IsInside(children[i], entity)) return "place of " + children[i].GetPath();
        }
    }
    return {};
}

}  // namespace MIME::Test
