#pragma once

#include <random>
#include <string>

namespace MIME::Fuzz {

/// Changes the structure of a message's text: its boundary lines and what is between them. A piece, which
/// is a boundary line and what follows it up to the next, is copied, removed, exchanged, or wrapped in a
/// multipart entity of its own; a boundary gets another name wherever it stands; a line is made a closing
/// one, or no longer; line ends change; a usual field is added.
void MutateStructure(std::string& text, std::minstd_rand& random);

}  // namespace MIME::Fuzz
