// Reads a text with the options for mail. Whatever it holds, reading ends, and fails at limits
// alone; what was read can be written; and fields and report stay within the text.

#include <cstddef>
#include <cstdint>

#include "fuzz/check.h"
#include "mime/mime.h"

namespace {

using MIME::AnsiStr;
using MIME::Part;
using MIME::ReadOptions;
using MIME::ReadReport;
using MIME::Fuzz::Check;

ReadOptions MakeOptions() {
    ReadOptions options = ReadOptions::Mail();
    options.bodies = MIME::Bodies::memory;
    options.memoryLimit = 0x7FFFFFFF;
    options.maxDepth = 20;
    options.maxParts = 200;
    options.maxFields = 100;
    options.maxHeaderBytes = 5000;
    return options;
}

void CheckParts(const Part& part, size_t size) {
    Check(part.data.content.GetLength() <= size, "no body is larger than the text");
    Check(part.fields.GetText().GetLength() <= size, "no header block is larger than the text");
    for (unsigned i = 0; i < part.fields.GetCount(); ++i) {
        Check(part.fields[i].name.size() + part.fields[i].value.size() < size, "fields are inside");
    }
    for (const Part* child : part.parts) CheckParts(*child, size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const ReadOptions options = MakeOptions();
    Part part;
    AnsiStr error;
    ReadReport report;
    const bool read = part.Read(reinterpret_cast<const char*>(data), size, error, options, &report);
    Check(read || std::string_view(error).starts_with("limit reached"), "only limits stop it");
    Check(report.failed != read, "the report knows");
    for (const ReadReport::Entry& entry : report.deviations) {
        Check(entry.offset <= size, "deviations are in the text");
    }
    CheckParts(part, size);
    if (read) Check(!part.Serialize(false).IsEmpty(), "what was read can be written");
    return 0;
}
