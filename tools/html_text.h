#pragma once

#include <string>
#include <string_view>

namespace Tool {

/// Roughly what a browser would show of an HTML text in UTF-8: tags, comments, styles and scripts are
/// removed, blocks begin on their own lines, and runs of white space become one space. Works for any
/// text, in linear time. The result is not escaped.
std::string StripHtml(std::string_view html);

}  // namespace Tool
