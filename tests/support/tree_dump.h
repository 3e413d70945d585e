#pragma once

#include <string>
#include <vector>

#include "mime/mime.h"

namespace MIME::Test {

struct PlainParameter {
    std::string name;
    std::string value;
    bool operator==(const PlainParameter&) const = default;
};

struct PlainField {
    std::string name;
    std::string value;
    std::vector<PlainParameter> parameters;
    bool operator==(const PlainField&) const = default;
};

/// An entity in standard types, so that trees from different readers can be compared and shown.
struct PlainPart {
    std::vector<PlainField> fields;
    std::string boundary;
    unsigned transferEncoding = 0;
    unsigned type = 0;
    unsigned subType = 0;
    bool hasBody = false;
    std::string body;
    std::vector<PlainPart> parts;
    bool operator==(const PlainPart&) const = default;
};

/// The tree as the reader left it, with the bytes of its body files. What the reader must leave
/// alone, such as `charset` and `ownsFile`, must be empty: anything else ends the test.
PlainPart ToPlain(const Part& part);

/// The tree as text, an indented block for each entity; control bytes are escaped.
std::string Dump(const PlainPart& part);

}  // namespace MIME::Test
