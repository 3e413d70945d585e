#pragma once

#include <string>

#include "mime/mime.h"

namespace MIME::Test {

/// The tree as text, an indented block for each entity, with the bytes of its bodies from wherever
/// they are; control bytes are escaped. What the exact rules never set is shown only when it is set.
std::string Dump(const Part& part);

/// The fields of such an entity.
std::string Dump(const HeaderMap& headers);

/// The deviations as text, a line each: offset, path of the entity, name of the kind. Then the worst
/// severity.
std::string Dump(const ReadReport& report);

}  // namespace MIME::Test
