#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "colours.h"
#include "commands.h"
#include "escape.h"
#include "json.h"
#include "kivgui/ascii.h"
#include "message.h"
#include "output.h"

// "show": prints the list of entities as a table or as JSON. A message may have a hundred thousand
// entities and a tree deeper than the stack, so both forms walk the list. Fields are read from the text
// each time they are asked for, so each entity is asked once.

namespace Tool {

namespace {

/// The transfer encoding that the entity states, an unknown one too; empty when it states none.
std::string GetTransferEncoding(const Message& message, size_t entity) {
    namespace TransferEncoding = MIME::TransferEncoding;
    std::string stated = message.GetValue(entity, "Content-Transfer-Encoding");
    for (unsigned key = 0;; ++key) {
        const auto known = TransferEncoding::GetStr(static_cast<TransferEncoding::keys>(key));
        if (known.IsEmpty()) return stated;
        if (KivGuiBase::EqualsCaseless(stated, known)) return ToString(known);
    }
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

Row MakeRow(const Message& message, size_t entity) {
    constexpr unsigned kMaxIndent = 16;
    const Place& place = message.GetOutline()[entity];
    const std::string indent(2 * size_t{std::min(place.depth, kMaxIndent)}, ' ');
    return {place.index, indent + OrDash(Escape(message.GetValue(entity, "Content-Type"))),
            OrDash(Escape(GetTransferEncoding(message, entity))),
            message.HasChildren(entity) ? "-" : std::to_string(message.GetSize(entity)),
            OrDash(Escape(message.GetFileName(entity)))};
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

void PrintFields(const Message& message, size_t entity) {
    for (const ShownField& field : message.GetFields(entity)) {
        std::string line =
            "    " + Paint(Colour::cyan, Escape(field.name)) + ": " + Escape(field.value);
        for (const MIME::Parameter& parameter : field.parameters) {
            line += "; " + Escape(parameter.name);
            if (!parameter.value.empty()) line += "=\"" + Escape(parameter.value, '"') + "\"";
        }
        Print(line + "\n");
    }
}

void PrintTable(const Message& message, bool withFields) {
    std::vector<Row> rows = {{"index", "type", "encoding", "size", "file name"}};
    const size_t count = message.GetOutline().GetCount();
    for (size_t i = 0; i < count; ++i) rows.push_back(MakeRow(message, i));
    const Table table(rows);
    std::string head = table.Format(rows.front());
    head.pop_back();
    Print(Paint(Colour::bold, head) + "\n");
    for (size_t i = 0; i < count; ++i) {
        Print(table.Format(rows[i + 1]));
        if (withFields) PrintFields(message, i);
    }
}

// --------------------------------------------------------------------------------- as JSON --

Json ToJson(const std::string& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

/// @param start  of the message in its file.
Json ToJson(const MIME::Range& range, uint64_t start) {
    return {{"offset", start + range.offset}, {"size", range.size}};
}

Json DescribeFields(const Message& message, size_t entity) {
    Json fields = Json::array();
    for (const ShownField& field : message.GetFields(entity)) {
        Json parameters = Json::array();
        for (const MIME::Parameter& parameter : field.parameters) {
            parameters.push_back({{"name", parameter.name}, {"value", parameter.value}});
        }
        fields.push_back(
            {{"name", field.name}, {"value", field.value}, {"parameters", std::move(parameters)}});
    }
    return fields;
}

Json Describe(const Message& message, size_t entity, uint64_t start, bool withFields) {
    const Place& place = message.GetOutline()[entity];
    Json description = {
        {"index", place.index},
        {"parent", place.parent != Place::kNoParent ? Json(place.parent) : Json(nullptr)},
        {"depth", place.depth},
        {"type", ToJson(message.GetValue(entity, "Content-Type"))},
        {"charset", ToJson(message.GetParameter(entity, "Content-Type", "charset"))},
        {"transferEncoding", ToJson(GetTransferEncoding(message, entity))},
        {"disposition", ToJson(message.GetValue(entity, "Content-Disposition"))},
        {"fileName", ToJson(message.GetFileName(entity))},
        {"size", message.HasChildren(entity) ? Json(nullptr) : Json(message.GetSize(entity))},
    };
    const std::optional<MIME::Entity> mail = message.GetEntity(entity);
    if (mail && mail->IsInSource()) {
        description["range"] = ToJson(mail->GetRange(), start);
        description["headerRange"] = ToJson(mail->GetHeaderRange(), start);
        description["bodyRange"] = ToJson(mail->GetBodyRange(), start);
    }
    if (withFields) description["headers"] = DescribeFields(message, entity);
    return description;
}

/// Makes the whole line before it is printed, so that what fails prints nothing; only one entity is in
/// memory as JSON.
void PrintJson(const Input& input, const Message& message, bool withFields) {
    std::string line = Dump(DescribeInput(input));
    line.back() = ',';
    line += "\"entities\":";
    char separator = '[';
    for (size_t i = 0; i < message.GetOutline().GetCount(); ++i) {
        line += separator + Dump(Describe(message, i, input.offset, withFields));
        separator = ',';
    }
    Print(line + "]}\n");
}

}  // namespace

int Show(const ShowOptions& options) {
    Headings headings;
    return ForEachInput(options.sources, Inputs::Quoting::asInFile, [&](const Input& input) {
        const std::unique_ptr<Message> message = Message::Read(input, options.sources);
        if (options.json) return PrintJson(input, *message, options.headers);
        headings.Print(input);
        PrintTable(*message, options.headers);
    });
}

}  // namespace Tool
