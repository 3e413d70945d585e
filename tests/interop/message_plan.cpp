#include "message_plan.h"

#include <fstream>
#include <string_view>

namespace Interop {

using MIME::AnsiStr;
using MIME::Part;
using nlohmann::json;

namespace {

std::string JoinMailboxes(const std::vector<Mailbox>& mailboxes) {
    std::string list;
    for (const Mailbox& mailbox : mailboxes) list += (list.empty() ? "" : ", ") + mailbox.text;
    return list;
}

void SetField(Part& part, const char* name, const std::string& value) {
    part.headers.FindOrInsert(name)->value.value = AnsiStr(value);
}

void SetParameter(Part& part, const char* field, const char* name, const std::string& value) {
    MIME::HeaderValue& found = part.headers.FindOrInsert(field)->value;
    found.parameters.FindOrInsert(name)->value.value = AnsiStr(value);
}

/// The fields that Serialize takes from `info`; for Write the host stores them.
void StoreContentFields(Part& part, const Node& node) {
    SetField(part, "Content-Type", std::string(std::string_view(node.type.GetStr())));
    if (!node.children.empty()) {
        SetParameter(part, "Content-Type", "boundary",
                     std::string(std::string_view(part.info.boundary)));
        return;
    }
    if (!node.charset.empty()) SetParameter(part, "Content-Type", "charset", node.charset);
    const AnsiStr encoding = MIME::TransferEncoding::GetStr(node.encoding);
    SetField(part, "Content-Transfer-Encoding", std::string(std::string_view(encoding)));
}

void SetBody(Part& part, const Node& node, const std::string& folder) {
    if (!node.inFile) {
        part.data.content = AnsiStr(std::string_view(node.body));
        return;
    }
    static unsigned count = 0;
    const std::string path = folder + "/body-" + std::to_string(++count);
    std::ofstream(path, std::ios::binary) << node.body;
    part.data.file = MIME::File(AnsiStr(path));
}

std::unique_ptr<Part> MakePart(const Node& node, bool streamed, const std::string& folder) {
    auto part = std::make_unique<Part>();
    part->info.contentType = node.type;
    part->info.transferEncoding = node.encoding;
    part->info.charset = AnsiStr(node.charset);
    if (!node.fileName.empty()) {
        SetField(*part, "Content-Disposition", "attachment");
        SetParameter(*part, "Content-Disposition", "filename", node.fileName);
        SetParameter(*part, "Content-Type", "name", node.fileName);
    }
    for (const Node& child : node.children) {
        part->AddPart(MakePart(child, streamed, folder).release());
    }
    if (node.children.empty()) SetBody(*part, node, folder);
    if (streamed) StoreContentFields(*part, node);
    return part;
}

std::string ToHex(const std::string& bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        hex += {kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return hex;
}

void DescribeNode(const Node& node, unsigned depth, json& entities) {
    json entity = {{"depth", depth},
                   {"type", std::string(std::string_view(node.type.GetStr()))},
                   {"charset", node.charset},
                   {"fileName", node.fileName},
                   {"name", node.fileName}};
    if (node.children.empty()) entity["body"] = ToHex(node.body);
    entities.push_back(entity);
    for (const Node& child : node.children) DescribeNode(child, depth + 1, entities);
}

json DescribeMailboxes(const std::vector<Mailbox>& mailboxes) {
    json list = json::array();
    for (const Mailbox& mailbox : mailboxes) list.push_back({mailbox.name, mailbox.address});
    return list;
}

}  // namespace

MIME::ContentType Text(MIME::SubType::keys subType) {
    return {{}, MIME::Type::text, subType};
}

MIME::ContentType Multipart(MIME::SubType::keys subType) {
    return {{}, MIME::Type::multipart, subType};
}

std::unique_ptr<Part> MakeTree(const Plan& plan, const std::string& folder) {
    std::unique_ptr<Part> message = MakePart(plan.top, plan.streamed, folder);
    message->data.topLevel = true;
    SetField(*message, "Subject", plan.subject);
    SetField(*message, "From", JoinMailboxes(plan.from));
    SetField(*message, "To", JoinMailboxes(plan.to));
    SetField(*message, "Mime-Version", "1.0");
    return message;
}

json Describe(const Plan& plan) {
    json entities = json::array();
    DescribeNode(plan.top, 0, entities);
    return {{"subject", plan.subject},
            {"from", DescribeMailboxes(plan.from)},
            {"to", DescribeMailboxes(plan.to)},
            {"entities", entities}};
}

}  // namespace Interop
