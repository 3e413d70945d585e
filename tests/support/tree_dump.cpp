#include "support/tree_dump.h"

#include <algorithm>

#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME::Test {

namespace {

void Append(std::string& out, const std::string& indent, const std::string& text) {
    out += indent + text + "\n";
}

/// A line only when there is something to show.
void AppendText(std::string& out, const std::string& indent, const char* name,
                std::string_view text) {
    if (!text.empty()) Append(out, indent, std::string(name) + " \"" + Escape(text) + "\"");
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

void AppendFlags(std::string& out, const std::string& indent, const Part& part) {
    if (part.info.isMessage) Append(out, indent, "carries a message");
    if (part.data.encoded) Append(out, indent, "encoded");
    if (part.data.topLevel) Append(out, indent, "top level");
    if (part.data.ownsFile) Append(out, indent, "owns its file");
}

void AppendFields(std::string& out, const std::string& indent, const HeaderMap& headers) {
    for (const HeaderMap::Node& field : headers) {
        Append(out, indent, Escape(field.key) + ": \"" + Escape(field.value.value) + "\"");
        for (const ParameterMap::Node& parameter : field.value.parameters) {
            Append(out, indent,
                   "  ; " + Escape(parameter.key) + "=\"" + Escape(parameter.value.value) + "\"" +
                       (parameter.value.raw ? " raw" : ""));
        }
    }
}

void AppendPart(std::string& out, const std::string& indent, const Part& part) {
    Append(out, indent, "entity");
    const std::string inside = indent + "  ";
    AppendText(out, inside, "raw text", part.rawText);
    AppendFields(out, inside, part.headers);
    AppendText(out, inside, "type as it is", part.info.contentType.str);
    const ContentType& type = part.info.contentType;
    Append(out, inside, "type " + std::string(CanonicType(type.type, type.subType)));
    Append(out, inside,
           "encoding " + std::string(TransferEncoding::GetStr(part.info.transferEncoding)));
    AppendText(out, inside, "charset", part.info.charset);
    AppendText(out, inside, "boundary", part.info.boundary);
    AppendFlags(out, inside, part);
    AppendText(out, inside, "preamble", part.preamble);
    AppendText(out, inside, "epilogue", part.epilogue);
    if (!part.data.file.IsEmpty()) {
        AppendBody(out, inside, ReadWholeFile(part.data.file.GetPath()));
    } else if (!part.data.content.IsEmpty()) {
        AppendBody(out, inside, std::string(part.data.content));
    }
    for (const Part* child : part.parts) AppendPart(out, inside, *child);
}

}  // namespace

std::string Dump(const Part& part) {
    std::string out;
    AppendPart(out, "", part);
    return out;
}

std::string Dump(const HeaderMap& headers) {
    std::string out;
    AppendFields(out, "", headers);
    return out;
}

std::string Dump(const ReadReport& report) {
    std::string out;
    for (const ReadReport::Entry& entry : report.deviations) {
        const std::string path = entry.path.IsEmpty() ? "top" : std::string(entry.path);
        Append(out, "",
               std::to_string(entry.offset) + " " + path + " " +
                   std::string(Deviation::GetName(entry.kind)));
    }
    constexpr const char* kSeverities[] = {"harmless", "repaired", "ambiguous"};
    return out + "worst: " + kSeverities[static_cast<unsigned>(report.worst)] + "\n";
}

}  // namespace MIME::Test
