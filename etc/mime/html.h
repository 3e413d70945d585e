#pragma once

#include <string>
#include <string_view>

#include "kivgui/export.h"

// In a library of its own, KIVMIME::Html, which needs libgumbo. Nothing else of KIVMIME includes it.

namespace MIME {

/// The text of an HTML document as people read it, in lines.
///
/// - Paragraphs, headings, lists and quotes are separated by an empty line, other blocks by a line end.
///   White space is collapsed as in browsers, except in `pre` and where the style says so.
/// - List items begin with "- " or their number, quoted lines with "> ". 24 levels of these are shown.
/// - The cells of a table's row are separated by " | ". Where one of them has several lines, or more
///   than 160 bytes, each begins a line, which keeps tables readable that only lay out a page. Empty
///   cells count in tables that have header cells.
/// - A link is its text and " <URL>". The URL is left out when it is the text, when the link before
///   had the same, and when it leads nowhere (a fragment, javascript, data).
/// - An image is its alternative text. Scripts, styles, the head, templates, `noscript`, menus of forms
///   and hidden elements give nothing.
/// - A no-break space is a space. Soft hyphens and characters without width are removed, except joiners
///   between two letters above ASCII, where Persian and emoji need them.
///
/// A document that no program writes for readers is read without its tags: with more than 512 levels
/// of elements, 256 attributes in a tag, or unclosed elements that multiply when they are opened again
/// in each paragraph. SVG and MathML elements count as unknown elements, whose text is shown.
///
/// @param html  UTF-8; malformed sequences become U+FFFD. The charset that a document names in itself
///              is ignored.
/// @return UTF-8 in lines that end in LF, without trailing blanks and with at most one empty line in a
///         row, without control characters. Empty when there is nothing to read.
/// Throws std::bad_alloc when memory runs out or `html` has more than 1 GiB. Takes time linear in its
/// size, and up to 250 bytes of memory for each of its bytes. No recursion. Any thread.
///
///   HtmlToText("<p>Hello <b>you</b><ul><li>one<li>two</ul>");   // "Hello you\n\n- one\n- two\n"
KIV_EXPORT std::string HtmlToText(std::string_view html);

}  // namespace MIME
