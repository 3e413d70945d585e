#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "fuzz/tree_source.h"
#include "mime/mime.h"

namespace MIME::Fuzz {

/// Aborts unless `read` is what comes back of the source's tree (docs/writing.md).
void CheckReadBack(TreeSource& source, const Part& read, Writer writer);

/// What the mail rules read where Part::Serialize wrote this value of an unstructured field, up to its
/// first NUL. No value when folding may have put a blank inside a word.
std::optional<std::string> GetTextReadBack(const AnsiStr& value);

/// The same for a parameter's value.
bool IsParameterReadBack(const AnsiStr& read, const AnsiStr& value);

/// Aborts unless the mailboxes are those of `value`, as far as `value` is well-formed.
void CheckMailboxesReadBack(const AnsiStr& read, const AnsiStr& value);

}  // namespace MIME::Fuzz
