#include "fields.h"

#include <algorithm>
#include <set>

#include "kivgui/ascii.h"

namespace Tool {

using MIME::AnsiStr;

namespace {

Field MakeField(std::string_view name, const MIME::HeaderValue& value) {
    return {std::string(name), std::string(std::string_view(value.value)), &value.parameters};
}

/// A field that is not in the map, because another one of its name came first.
Field MakeRepeatedField(const MIME::FieldList::Field& field) {
    std::string value(field.value);
    std::erase_if(value, [](char c) { return c == '\r' || c == '\n'; });
    return {std::string(field.name),
            std::string(std::string_view(MIME::Decoding::Words(AnsiStr(value)))), nullptr};
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
        const MIME::HeaderMap::Node* node = part.headers.Find(AnsiStr(field.name));
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
