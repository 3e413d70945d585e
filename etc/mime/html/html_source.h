#pragma once

#include <string>
#include <string_view>

namespace MIME {

/// Gives the tags <svg> and <math>, and <html> and <body> after the first, names that mean nothing;
/// the length of the text stays. Foreign elements lead libgumbo 0.10 into a failed assertion, which
/// ends the process, and each further <body> is compared with all attributes of those before it.
/// @return the view itself, or one of `storage`.
std::string_view RenameTags(std::string_view html, std::string& storage);

/// The document with its blocks as lines (<br>), and without all other tags, scripts, styles and
/// comments. Character references stay.
std::string RemoveTags(std::string_view html);

}  // namespace MIME
