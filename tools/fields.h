#pragma once

#include <string>
#include <vector>

#include <mime/mime.h>

namespace Tool {

/// A header field to be shown.
struct Field {
    std::string name;
    std::string value;
    const MIME::ParameterMap* parameters = nullptr;  ///< the part's; null when there are none

    const MIME::ParameterMap& GetParameters() const;
};

/// The fields of an entity. As mail is read: all of them in order, decoded. By the exact rules: as
/// the map has them, without those that the reader added.
std::vector<Field> ListFields(const MIME::Part& part);

/// The reader adds the one parameter that it looks for, without a value.
bool IsAdded(const MIME::ParameterMap::Node& parameter);

}  // namespace Tool
