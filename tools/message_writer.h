#pragma once

#include <string>

#include <mime/mime.h>

namespace Tool {

/// Writes a message that was read with ReadOptions::Mail into a file, which is made or replaced:
/// every header block as it stood, the bodies encoded anew, preambles and epilogues too.
///
/// @param shown            what the user calls the file.
/// @param withHeaderBlock  that of the top entity is written too.
/// @throws Failure when something cannot be read or written.
void WriteMessage(const MIME::Part& message, const std::string& path, const std::string& shown,
                  bool withHeaderBlock);

/// Are the trees alike: structure, header blocks, body bytes, the text around the children?
///
/// @param withHeaderBlock  those of the top entities are compared too.
/// @throws Failure when a body cannot be read.
bool IsSameMessage(const MIME::Part& a, const MIME::Part& b, bool withHeaderBlock);

}  // namespace Tool
