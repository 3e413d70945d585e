#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "mime/mime.h"
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

/// Fields and parameters on one line: "name=value; parameter=value|name=value".
/// Empty Content- fields are left out: the exact rules add them wherever they look for one.
inline std::string ShowFields(const HeaderMap& headers) {
    std::string shown;
    for (const HeaderMap::Node& field : headers) {
        if (field.value.value.IsEmpty() && ToString(field.key).starts_with("Content-")) continue;
        shown +=
            (shown.empty() ? "" : "|") + ToString(field.key) + "=" + ToString(field.value.value);
        for (const ParameterMap::Node& parameter : field.value.parameters) {
            shown += "; " + ToString(parameter.key) + "=" + ToString(parameter.value.value);
        }
    }
    return shown;
}

/// One reading by the exact rules, in a folder of its own.
struct Reading {
    explicit Reading(std::string_view text, const char* contentType = nullptr) {
        AnsiStr message("left from before");
        read = part.Read(text.data(), text.size(), message, contentType);
        error = ToString(message);
    }

    /// The bodies in their tree: "[body]" for a leaf, "(...)" around the children of a multipart.
    /// After a failure the message and ": " come first, and bodies that no tree has, after "+".
    std::string Show() const {
        std::vector<std::string> others = folder.List();
        std::string shown = (read ? "" : error + ": ") + ShowTree(part, others);
        for (std::string& other : others) other = ReadWholeFile(folder.At(other));
        std::sort(others.begin(), others.end());
        for (const std::string& body : others) shown += "+[" + body + "]";
        return shown;
    }

    TempFolder folder;
    Part part;
    bool read;
    std::string error;

private:
    static std::string ShowTree(const Part& part, std::vector<std::string>& others) {
        if (!part.data.file.IsEmpty()) {
            const std::string path = ToString(part.data.file.GetPath());
            std::erase(others, path.substr(path.find_last_of("/\\") + 1));
            return "[" + ReadWholeFile(path) + "]";
        }
        std::string shown = "(";
        for (const Part* child : part.parts) shown += ShowTree(*child, others);
        return shown + ")";
    }
};

}  // namespace MIME::Test
