#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "entity_list.h"
#include "escape.h"
#include "output.h"

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;

/// Bytes of the decoded body; none for an entity that has no body of its own.
std::optional<int64_t> GetBodySize(const Entity& entity) {
    if (!entity.IsLeaf()) return std::nullopt;
    return entity.part->data.file.GetSize();
}

/// Empty when the entity does not state it, and its body was taken as it stands.
std::string GetTransferEncoding(const Entity& entity) {
    const MIME::HeaderMap::Node* field = entity.part->headers.Find("Content-Transfer-Encoding");
    if (field == nullptr || field->value.value.IsEmpty()) return {};
    return std::string(
        std::string_view(MIME::TransferEncoding::GetStr(entity.part->info.transferEncoding)));
}

// The reader adds, without a value, the fields and the one parameter that it looks for. They were
// not in the message.

bool IsAdded(const MIME::HeaderMap::Node& field) {
    return field.value.value.IsEmpty();
}

bool IsAdded(const MIME::ParameterMap::Node& parameter) {
    return parameter.key == "filename" && parameter.value.value.IsEmpty();
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
            OrDash(GetTransferEncoding(entity)), size ? std::to_string(*size) : "-",
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

void PrintFields(const MIME::HeaderMap& headers) {
    for (const MIME::HeaderMap::Node& field : headers) {
        if (IsAdded(field)) continue;
        std::string line = "    " + Escape(field.key) + ": " + Escape(field.value.value);
        for (const MIME::ParameterMap::Node& parameter : field.value.parameters) {
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
        if (withFields) PrintFields(entities[i].part->headers);
    }
}

// --------------------------------------------------------------------------------- as JSON --

Json ToJson(std::string_view text) {
    return text.empty() ? Json(nullptr) : Json(std::string(text));
}

Json DescribeFields(const MIME::HeaderMap& headers) {
    Json fields = Json::array();
    for (const MIME::HeaderMap::Node& field : headers) {
        if (IsAdded(field)) continue;
        Json parameters = Json::array();
        for (const MIME::ParameterMap::Node& parameter : field.value.parameters) {
            if (IsAdded(parameter)) continue;
            parameters.push_back({{"name", std::string_view(parameter.key)},
                                  {"value", std::string_view(parameter.value.value)}});
        }
        fields.push_back({{"name", std::string_view(field.key)},
                          {"value", std::string_view(field.value.value)},
                          {"parameters", std::move(parameters)}});
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
    if (withFields) description["headers"] = DescribeFields(entity.part->headers);
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
