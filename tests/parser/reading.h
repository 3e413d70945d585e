#pragma once

#include <string>
#include <string_view>

#include "mime/mime.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME::Test {

inline std::string ToString(const AnsiStr& text) {
    return std::string(std::string_view(text));
}

/// Joins lines with the line end of messages, the last one too.
inline std::string Lines(std::initializer_list<std::string_view> lines) {
    std::string text;
    for (const std::string_view line : lines) text.append(line).append("\r\n");
    return text;
}

/// Fields and parameters on one line: "name=value; parameter=value|name=value". Bytes are escaped.
inline std::string ShowFields(const HeaderMap& headers) {
    std::string shown;
    for (const HeaderMap::Node& field : headers) {
        shown += (shown.empty() ? "" : "|") + Escape(field.key) + "=" + Escape(field.value.value);
        for (const ParameterMap::Node& parameter : field.value.parameters) {
            shown += "; " + Escape(parameter.key) + "=" + Escape(parameter.value.value);
        }
    }
    return shown;
}

/// The bodies in their tree: "[body]" for a leaf, "(...)" around the children of a multipart.
inline std::string ShowBodies(const Part& part) {
    if (!part.data.file.IsEmpty()) {
        return "[" + Escape(ReadWholeFile(ToString(part.data.file.GetPath()))) + "]";
    }
    std::string shown = "(";
    for (const Part* child : part.parts) shown += ShowBodies(*child);
    return shown + ")";
}

/// One reading of a text, and what came of it.
struct Reading {
    explicit Reading(std::string_view text, const char* contentType = nullptr) {
        AnsiStr message("left from before");
        read = part.Read(text.data(), text.size(), message, contentType);
        error = ToString(message);
    }

    Part part;
    bool read;
    std::string error;
};

}  // namespace MIME::Test
