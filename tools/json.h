#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "inputs.h"
#include "json_text.h"

/// What the commands print for programs: one object a line. docs/json.md describes them.
namespace Tool {

using Json = nlohmann::ordered_json;

/// The keys with which every object begins.
inline Json DescribeInput(const Input& input) {
    return {{"schema", kSchema},
            {"file", input.file},
            {"offset", input.offset},
            {"length", input.text.size()}};
}

/// ASCII only, which is safe to print; bytes that are not UTF-8 become U+FFFD.
inline std::string Dump(const Json& value) {
    return value.dump(-1, ' ', true, Json::error_handler_t::replace);
}

}  // namespace Tool
