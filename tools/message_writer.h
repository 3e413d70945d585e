#pragma once

#include <string>

#include <mime/mime.h>

namespace Tool {

/// Writes a message that was read with the mail rules into a file, which is made or replaced. Header
/// blocks, preambles and epilogues are written as they were; bodies are encoded anew.
///
/// @param shown            what the user calls the file.
/// @param withHeaderBlock  writes the header block of the top entity too.
/// @throws Failure when something cannot be read or written.
void WriteMessage(const MIME::Part& message, const std::string& path, const std::string& shown,
                  bool withHeaderBlock);

/// Returns true if the trees are equal in structure, header blocks, bodies, preambles and epilogues.
///
/// @param withHeaderBlock  compares the header blocks of the top entities too.
/// @throws Failure when a body cannot be read.
bool IsSameMessage(const MIME::Part& a, const MIME::Part& b, bool withHeaderBlock);

}  // namespace Tool
