#pragma once

#include <string>

#include "mime/mail.h"
#include "mime/mime.h"

namespace MIME::Test {

/// Compares a mail with the tree of parts that the mail rules make of the same text, bodies in memory:
/// structure, types, names, fields and decoded bytes; and whether each entity lies inside its parent.
/// @return the first difference; empty when there is none.
std::string FindDifference(const Mail& mail, const Part& part);

}  // namespace MIME::Test
