// Reads a header block by both sets of rules and writes its fields, which must be safe to write whatever
// was read.

#include <cstddef>
#include <cstdint>

#include "fuzz/check.h"
#include "mime/mime.h"

namespace {

using MIME::AnsiStr;
using MIME::HeaderMap;
using MIME::Fuzz::Check;

void CheckOrder(const HeaderMap& headers) {
    const HeaderMap::Node* before = nullptr;
    for (const HeaderMap::Node& field : headers) {
        Check(before == nullptr ||
                  AnsiStr::Compare(before->key.GetStr(), field.key.GetStr(), true) < 0,
              "fields are in order, each once");
        before = &field;
    }
}

/// A value must not be able to end its field and begin another.
void CheckLines(std::string_view text, size_t fields) {
    size_t begun = 0;
    for (size_t start = 0; start < text.size();) {
        const size_t end = text.find("\r\n", start);
        Check(end != std::string_view::npos && end != start, "text is lines, none of them empty");
        if (text[start] != ' ' && text[start] != '\t') ++begun;
        start = end + 2;
    }
    Check(begun <= fields, "no line that begins a field is made of a value");
}

void CheckFields(const HeaderMap& headers) {
    CheckOrder(headers);
    size_t fields = 0;
    bool hasPlainNames = true;
    for (const HeaderMap::Node& field : headers) {
        ++fields;
        const std::string_view name = field.key;
        hasPlainNames = hasPlainNames && !name.empty() &&
                        name.find_first_of("\r\n\t ") == std::string_view::npos;
    }
    for (const bool flag : {false, true}) {
        const AnsiStr text = headers.Serialize(flag, false);
        if (hasPlainNames) CheckLines(text, fields);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    for (const MIME::Rules rules : {MIME::Rules::exact, MIME::Rules::mail}) {
        MIME::Part part;
        MIME::ReadOptions options;
        options.rules = rules;
        options.bodies = MIME::Bodies::memory;
        AnsiStr error;
        const bool read = part.Read(reinterpret_cast<const char*>(data), size, error, options);
        MIME::Fuzz::Check(read == error.IsEmpty(), "a failure has a message, and nothing else has");
        CheckFields(part.headers);
    }
    return 0;
}
