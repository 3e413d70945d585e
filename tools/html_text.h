#pragma once

#include <string>
#include <string_view>

namespace Tool {

/// What a reader would see of an HTML text in UTF-8, roughly: tags, comments, styles and scripts
/// are taken out, blocks begin on a line of their own, white space is joined. Any text gives some
/// result, in linear time; it is not escaped.
std::string StripHtml(std::string_view html);

}  // namespace Tool
