#include "support/tree_dump.h"

#include <stdexcept>

#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME::Test {

namespace {

std::string ToString(const AnsiStr& text) {
    return std::string(std::string_view(text));
}

void CheckUntouched(const Part& part) {
    if (!part.rawText.IsEmpty() || !part.info.charset.IsEmpty() ||
        !part.info.contentType.str.IsEmpty() || !part.data.content.IsEmpty() || part.data.encoded ||
        part.data.topLevel || part.data.ownsFile) {
        throw std::runtime_error("the reader set something that is not its own");
    }
}

void Append(std::string& out, const std::string& indent, const std::string& text) {
    out += indent + text + "\n";
}

/// The bytes as they are, a line of the dump for each line of the body.
void AppendBody(std::string& out, const std::string& indent, const std::string& body) {
    Append(out, indent, "body of " + std::to_string(body.size()) + " bytes");
    for (size_t start = 0; start < body.size();) {
        const size_t end = std::min(body.find('\n', start), body.size() - 1) + 1;
        Append(out, indent, "> " + Escape(std::string_view(body).substr(start, end - start)));
        start = end;
    }
}

void AppendPart(std::string& out, const std::string& indent, const PlainPart& part) {
    Append(out, indent, "entity");
    const std::string inside = indent + "  ";
    for (const PlainField& field : part.fields) {
        Append(out, inside, Escape(field.name) + ": \"" + Escape(field.value) + "\"");
        for (const PlainParameter& parameter : field.parameters) {
            Append(out, inside,
                   "  ; " + Escape(parameter.name) + "=\"" + Escape(parameter.value) + "\"");
        }
    }
    const auto type = static_cast<Type::keys>(part.type);
    const auto subType = static_cast<SubType::keys>(part.subType);
    const auto encoding = static_cast<TransferEncoding::keys>(part.transferEncoding);
    Append(out, inside, "type " + ToString(CanonicType(type, subType)));
    Append(out, inside, "encoding " + ToString(TransferEncoding::GetStr(encoding)));
    if (!part.boundary.empty()) {
        Append(out, inside, "boundary \"" + Escape(part.boundary) + "\"");
    }
    if (part.hasBody) AppendBody(out, inside, part.body);
    for (const PlainPart& child : part.parts) AppendPart(out, inside, child);
}

}  // namespace

PlainPart ToPlain(const Part& part) {
    CheckUntouched(part);
    PlainPart plain;
    for (const HeaderMap::Node& field : part.headers) {
        plain.fields.push_back({ToString(field.key), ToString(field.value.value), {}});
        for (const ParameterMap::Node& parameter : field.value.parameters) {
            if (parameter.value.raw) throw std::runtime_error("a parameter is raw");
            plain.fields.back().parameters.push_back(
                {ToString(parameter.key), ToString(parameter.value.value)});
        }
    }
    plain.boundary = ToString(part.info.boundary);
    plain.transferEncoding = part.info.transferEncoding;
    plain.type = part.info.contentType.type;
    plain.subType = part.info.contentType.subType;
    plain.hasBody = !part.data.file.IsEmpty();
    if (plain.hasBody) plain.body = ReadWholeFile(ToString(part.data.file.GetPath()));
    for (const Part* child : part.parts) plain.parts.push_back(ToPlain(*child));
    return plain;
}

std::string Dump(const PlainPart& part) {
    std::string out;
    AppendPart(out, "", part);
    return out;
}

}  // namespace MIME::Test
