#include "dump.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace Behaviour {

using std::string;
using std::string_view;

Dump& Dump::Add(string_view name, string_view value) {
    text_ += name;
    text_ += " (" + std::to_string(value.size()) + ") ";
    text_ += value;
    text_ += '\n';
    return *this;
}

Dump& Dump::Add(string_view name, unsigned long long value) {
    text_ += name;
    text_ += ' ';
    text_ += std::to_string(value);
    text_ += '\n';
    return *this;
}

unsigned long long Dump::GetHash() const {
    unsigned long long hash = 0xCBF29CE484222325;  // FNV-1a
    for (const char c : text_) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    return hash;
}

void Dump::AddParameters(const MIME::ParameterMap& parameters) {
    for (const auto& parameter : parameters) {
        Add(parameter.value.raw ? "raw parameter" : "parameter", parameter.key);
        Add("=", parameter.value.value);
    }
}

void Dump::AddTree(const MIME::Part& part) {
    text_ += "entity {\n";
    for (const auto& field : part.headers) {
        Add("field", field.key).Add(":", field.value.value);
        AddParameters(field.value.parameters);
    }
    const MIME::Info& info = part.info;
    Add("encoding", info.transferEncoding).Add("type", info.contentType.str);
    Add("type key", info.contentType.type).Add("subtype key", info.contentType.subType);
    Add("boundary", MaskBoundaries(string(string_view(info.boundary))))
        .Add("charset", info.charset);
    Add("is message", info.isMessage).Add("raw text", part.rawText);
    Add("encoded", part.data.encoded).Add("top level", part.data.topLevel);
    Add("content", part.data.content);
    const string path(string_view(part.data.file.GetPath()));
    Add("file", MaskFileName(path));
    if (!path.empty()) Add("bytes", ReadBytes(path));
    Add("source", part.fields.GetText());
    // A reading that stopped in a header block has the places of its fields, but not their text.
    const unsigned fieldCount = part.fields.GetText().IsEmpty() ? 0 : part.fields.GetCount();
    for (unsigned i = 0; i < fieldCount; ++i) {
        Add("source field", part.fields[i].name).Add(":", part.fields[i].value);
    }
    Add("preamble", part.preamble).Add("epilogue", part.epilogue);
    for (const MIME::Part* child : part.parts) AddTree(*child);
    text_ += "}\n";
}

void Dump::AddReport(const MIME::ReadReport& report) {
    for (const MIME::ReadReport::Entry& entry : report.deviations) {
        Add("deviation", MIME::Deviation::GetName(entry.kind)).Add("at", entry.offset);
        Add("in", entry.path);
    }
    Add("worst", static_cast<unsigned>(report.worst)).Add("omitted", report.omitted);
    Add("failed", report.failed).Add("failed at", report.failureOffset);
    Add("failed in", report.failurePath);
}

string ReadBytes(const string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return "cannot be opened";
    string bytes;
    char buffer[65536];
    for (size_t got; (got = std::fread(buffer, 1, sizeof buffer, file)) > 0;)
        bytes.append(buffer, got);
    std::fclose(file);
    return bytes;
}

void WriteBytes(const string& path, string_view bytes) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size() ||
        std::fclose(file) != 0) {
        std::fprintf(stderr, "cannot write %s\n", path.c_str());
        std::exit(2);
    }
}

namespace {

bool IsHex(string_view text) {
    return text.find_first_not_of("0123456789abcdefABCDEF") == string_view::npos;
}

}  // namespace

string MaskFileName(string_view path) {
    constexpr size_t kDigits = 16;
    string name(path.substr(path.rfind('/') + 1));
    for (size_t dash = name.rfind('-'); dash != string::npos && dash > 0;
         dash = name.rfind('-', dash - 1)) {
        const string_view digits = string_view(name).substr(dash + 1, kDigits);
        if (digits.size() == kDigits && IsHex(digits)) return name.replace(dash + 1, kDigits, "*");
    }
    return name;
}

string MaskBoundaries(string text) {
    constexpr string_view kStart = "=_Qvm_=-";
    constexpr size_t kDigits = 32;
    for (size_t at = 0; (at = text.find(kStart, at)) != string::npos;) {
        at += kStart.size();
        if (at + kDigits <= text.size() && IsHex(string_view(text).substr(at, kDigits))) {
            text.replace(at, kDigits, "*");
        }
    }
    return text;
}

}  // namespace Behaviour
