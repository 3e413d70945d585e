#pragma once

#include <gumbo.h>

#include <string>
#include <string_view>

#include "mime/html/text_layout.h"

namespace MIME {

/// What an element does to the lines around its text.
enum class Display {
    line,       ///< inline: nothing
    block,      ///< begins and ends a line
    paragraph,  ///< the same with empty lines
    none,       ///< its content is not shown
};

/// The value of an attribute; empty when the element has none.
std::string_view GetAttribute(const GumboElement& element, const char* name) noexcept;

/// The display of an element by its tag, or none when it is hidden.
Display GetDisplay(const GumboElement& element);

/// How the element treats white space; `outer` when it says nothing about it.
TextLayout::Space GetSpace(const GumboElement& element, TextLayout::Space outer);

/// The URL of a link as one word, without control characters. Empty for an element that is no link,
/// and for a link that leads nowhere: to a place in the document, to a script, to data.
std::string GetTarget(const GumboElement& element);

/// Returns true if the text of a link already says where it leads: "example.com" for
/// "http://www.example.com/".
bool SaysTarget(std::string_view text, std::string_view target) noexcept;

}  // namespace MIME
