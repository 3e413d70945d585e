#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "entity_list.h"
#include "escape.h"
#include "kivgui/ascii.h"
#include "output.h"

// "show": prints the list of entities as a table or as JSON. A message may have a hundred thousand
// entities and a tree deeper than the stack, so both forms walk the list, and JSON is written one
// entity at a time.

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;

/// Size of the decoded body in bytes; no value for an entity that has no body of its own.
std::optional<int64_t> GetBodySize(const Entity& entity) {
    if (!entity.IsLeaf()) return std::nullopt;
    return entity.part->data.file.GetSize();
}

/// The transfer encoding that the entity states, an unknown one too; empty when it states none.
std::string GetTransferEncoding(const Entity& entity) {
    const MIME::HeaderMap::Node* field = entity.part->headers.Find("Content-Transfer-Encoding");
    if (field == nullptr || field->value.value.IsEmpty()) return {};
    const MIME::AnsiStr known = MIME::TransferEncoding::GetStr(entity.part->info.transferEncoding);
    const bool isKnown = KivGuiBase::EqualsCaseless(field->value.value, known);
    return ToString(isKnown ? known : field->value.value);
}

// ------------------------------------------------------------------------------- as a table --

struct Row {
    std::string index;
    std::string type;
    std::string encoding;
    std::string size;
    std::string fileName;
};

std::string OrDash(const std::string& text) {
    return text.empty() ? "-" : text;
}

Row MakeRow(const Entity& entity) {
    constexpr unsigned kMaxIndent = 16;
    const std::string indent(2 * size_t{std::min(entity.depth, kMaxIndent)}, ' ');
    const std::optional<int64_t> size = GetBodySize(entity);
    return {entity.index, indent + OrDash(Escape(GetMediaType(*entity.part))),
            OrDash(Escape(GetTransferEncoding(entity))), size ? std::to_string(*size) : "-",
            OrDash(Escape(GetFileName(*entity.part)))};
}

class Table {
public:
    explicit Table(const std::vector<Row>& rows) {
        for (const Row& row : rows) {
            Widen(index_, row.index);
            Widen(type_, row.type);
            Widen(encoding_, row.encoding);
            Widen(size_, row.size);
        }
    }

    std::string Format(const Row& row) const {
        return Pad(row.index, index_) + "  " + Pad(row.type, type_) + "  " +
               Pad(row.encoding, encoding_) + "  " + MakeSpace(row.size, size_) + row.size + "  " +
               row.fileName + "\n";
    }

private:
    /// A single long value must not push every row off the screen.
    static void Widen(size_t& width, const std::string& text) {
        constexpr size_t kMaxWidth = 48;
        width = std::min(std::max(width, MeasureColumns(text)), kMaxWidth);
    }
    static std::string MakeSpace(const std::string& text, size_t width) {
        return std::string(width - std::min(MeasureColumns(text), width), ' ');
    }
    static std::string Pad(const std::string& text, size_t width) {
        return text + MakeSpace(text, width);
    }

    size_t index_ = 0;
    size_t type_ = 0;
    size_t encoding_ = 0;
    size_t size_ = 0;
};

void PrintFields(const MIME::Part& part) {
    for (const Field& field : ListFields(part)) {
        std::string line = "    " + Escape(field.name) + ": " + Escape(field.value);
        for (const MIME::ParameterMap::Node& parameter : field.GetParameters()) {
            if (IsAdded(parameter)) continue;
            line += "; " + Escape(parameter.key);
            if (parameter.value.value.IsEmpty()) continue;
            line += "=\"" + Escape(parameter.value.value, '"') + "\"";
        }
        Print(line + "\n");
    }
}

void PrintTable(const std::vector<Entity>& entities, bool withFields) {
    std::vector<Row> rows = {{"index", "type", "encoding", "size", "file name"}};
    for (const Entity& entity : entities) rows.push_back(MakeRow(entity));
    const Table table(rows);
    Print(table.Format(rows.front()));
    for (size_t i = 0; i < entities.size(); ++i) {
        Print(table.Format(rows[i + 1]));
        if (withFields) PrintFields(*entities[i].part);
    }
}

// --------------------------------------------------------------------------------- as JSON --

Json ToJson(std::string_view text) {
    return text.empty() ? Json(nullptr) : Json(std::string(text));
}

Json DescribeFields(const MIME::Part& part) {
    Json fields = Json::array();
    for (const Field& field : ListFields(part)) {
        Json parameters = Json::array();
        for (const MIME::ParameterMap::Node& parameter : field.GetParameters()) {
            if (IsAdded(parameter)) continue;
            parameters.push_back({{"name", std::string_view(parameter.key)},
                                  {"value", std::string_view(parameter.value.value)}});
        }
        fields.push_back(
            {{"name", field.name}, {"value", field.value}, {"parameters", std::move(parameters)}});
    }
    return fields;
}

Json Describe(const Entity& entity, bool withFields) {
    const std::optional<int64_t> size = GetBodySize(entity);
    Json description = {
        {"index", entity.index},
        {"parent", entity.parent != Entity::kNoParent ? Json(entity.parent) : Json(nullptr)},
        {"depth", entity.depth},
        {"type", ToJson(GetMediaType(*entity.part))},
        {"transferEncoding", ToJson(GetTransferEncoding(entity))},
        {"size", size ? Json(*size) : Json(nullptr)},
        {"fileName", ToJson(GetFileName(*entity.part))},
    };
    if (withFields) description["headers"] = DescribeFields(*entity.part);
    return description;
}

/// ASCII only, which is safe to print; bytes that are not UTF-8 become U+FFFD.
std::string Dump(const Json& value) {
    return value.dump(-1, ' ', true, Json::error_handler_t::replace);
}

/// One entity a line, and only one in memory as JSON.
void PrintJson(const std::string& file, const std::vector<Entity>& entities, bool withFields) {
    Print("{\"file\":" + Dump(file) + ",\"entities\":[");
    const char* separator = "\n";
    for (const Entity& entity : entities) {
        Print(separator + Dump(Describe(entity, withFields)));
        separator = ",\n";
    }
    Print("\n]}\n");
}

}  // namespace

int Show(const ShowOptions& options) {
    const WorkFolder folder;
    const std::unique_ptr<MIME::Part> message = ReadMessage(options.source, folder);
    const std::vector<Entity> entities = ListEntities(*message);
    if (options.json) {
        PrintJson(options.source.file, entities, options.headers);
    } else {
        PrintTable(entities, options.headers);
    }
    FinishOutput();
    return 0;
}

}  // namespace Tool
