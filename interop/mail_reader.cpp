// interop_mail: what our reader finds in messages by the mail rules. Takes their paths from standard
// input, one a line, and answers each with a line of JSON, of the form that compare.py compares.

#include <iostream>
#include <string>

#include <mime/mail.h>
#include <mime/mime.h>
#include <nlohmann/json.hpp>

using nlohmann::json;

namespace {

std::string ToText(const MIME::AnsiStr& text) {
    return std::string(std::string_view(text));
}

std::string ToHex(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        hex += {kDigits[value >> 4], kDigits[value & 15]};
    }
    return hex;
}

MIME::AnsiStr GetParameter(const MIME::Part& part, const char* field, const char* name) {
    const MIME::HeaderMap::Node* node = part.headers.Find(field);
    const MIME::ParameterMap::Node* found =
        node != nullptr ? node->value.parameters.Find(name) : nullptr;
    return found != nullptr ? found->value.value : MIME::AnsiStr();
}

void Describe(const MIME::Part& part, unsigned depth, json& entities) {
    const MIME::HeaderMap::Node* encoding = part.headers.Find("Content-Transfer-Encoding");
    json entity = {{"depth", depth},
                   {"type", ToText(part.info.contentType.GetStr())},
                   {"encoding", encoding != nullptr ? ToText(encoding->value.value) : ""},
                   {"charset", ToText(GetParameter(part, "Content-Type", "charset"))},
                   {"fileName", ToText(GetParameter(part, "Content-Disposition", "filename"))},
                   {"name", ToText(GetParameter(part, "Content-Type", "name"))}};
    if (part.parts.IsEmpty()) entity["body"] = ToHex(part.data.content);
    entities.push_back(std::move(entity));
    for (const MIME::Part* child : part.parts) Describe(*child, depth + 1, entities);
}

json Describe(const std::string& path) {
    MIME::ReadOptions options = MIME::ReadOptions::Mail();
    options.bodies = MIME::Bodies::memory;
    options.memoryLimit = 0x7FFFFFFF;
    MIME::Part message;
    MIME::AnsiStr error;
    MIME::ReadReport report;
    if (!message.Read(MIME::File(MIME::AnsiStr(path.c_str())), error, options, &report)) {
        return {{"error", ToText(error)}};
    }
    const MIME::HeaderMap::Node* subject = message.headers.Find("Subject");
    json deviations = json::array();
    for (const MIME::ReadReport::Entry& entry : report.deviations) {
        deviations.push_back({ToText(MIME::Deviation::GetName(entry.kind)),
                              static_cast<unsigned>(MIME::Deviation::GetSeverity(entry.kind)),
                              entry.offset, ToText(entry.path)});
    }
    json entities = json::array();
    Describe(message, 0, entities);
    const MIME::Result<MIME::Mail> mail = MIME::Mail::Open(path);
    return {{"subject", subject != nullptr ? ToText(subject->value.value) : ""},
            {"text", mail ? mail->GetText() : ""},
            {"fields", message.fields.GetCount()},
            {"entities", std::move(entities)},
            {"deviations", std::move(deviations)},
            {"worst", static_cast<unsigned>(report.worst)}};
}

}  // namespace

int main() {
    for (std::string path; std::getline(std::cin, path);) {
        std::cout << Describe(path).dump(-1, ' ', true, json::error_handler_t::replace)
                  << std::endl;
    }
}
