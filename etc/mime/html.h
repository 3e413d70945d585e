#pragma once

#include <string>
#include <string_view>

#include "kivgui/export.h"

// This header belongs to a separate library, KIVMIME::Html, which needs libgumbo. Nothing else in
// KIVMIME includes it.

namespace MIME {

/// The text of an HTML document as people read it, in lines.
///
/// - Paragraphs, headings, lists and quotes are separated by an empty line, other blocks by a line end.
///   White space is collapsed as in browsers, except in `pre` and where the style says so.
/// - List items begin with "- " or their number, quoted lines with "> ". Up to 24 levels are shown.
/// - The cells of a table row are separated by " | ". If a cell has several lines, or more than 160
///   bytes, every cell of the row begins a new line; this keeps tables readable that only lay out a
///   page. Empty cells count in tables that have header cells.
/// - A link is its text and " <URL>". The URL is left out when it equals the text, when the
///   previous link had the same URL, and when it leads nowhere (a fragment, javascript, data).
/// - An image is its alternative text. Scripts, styles, the head, templates, `noscript`, menus of
///   forms and hidden elements are left out.
/// - A no-break space becomes a space. Soft hyphens and characters without width are removed,
///   except joiners between two letters above ASCII, which Persian and emoji need.
///
/// A document that no program would write for readers is read without its tags: one with more than
/// 512 levels of elements, more than 256 attributes in a tag, or unclosed elements that multiply
/// when they are reopened in each paragraph. SVG and MathML elements are treated as unknown
/// elements, whose text is shown.
///
/// @param html  UTF-8; malformed sequences become U+FFFD. A charset named in the document is
///              ignored.
/// @return UTF-8 in lines that end in LF, without trailing blanks and with at most one empty line
///         in a row, without control characters. Empty when there is nothing to read.
/// Throws std::bad_alloc when memory runs out or `html` is larger than 1 GiB. Takes time linear in
/// its size, and up to 250 bytes of memory for each of its bytes. No recursion. Any thread.
///
///   HtmlToText("<p>Hello <b>you</b><ul><li>one<li>two</ul>");   // "Hello you\n\n- one\n- two\n"
KIV_EXPORT std::string HtmlToText(std::string_view html);

}  // namespace MIME
