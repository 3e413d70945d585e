#pragma once

#include <string>

#include "mime/mime.h"
#include "mime/writing/body_source.h"
#include "mime/writing/draft.h"
#include "mime/writing/write_options.h"

namespace MIME {

/// Levels of entities that can be written, the top included; as many as ReadOptions::Mail() reads.
inline constexpr unsigned kMaxWrittenDepth = 256;

/// A tree as a mail to be written. Bodies stay where they are, in the tree or in files, and must live as long.
struct PartDraft {
    std::string outerFields;  ///< when it is signed, the fields that stay outside
    Draft draft;
};

/// @param unique  makes the Message-ID. @throws WriteFailure, with the path of the part at fault
PartDraft MakePartDraft(const Part& top, const WriteOptions& options, UniqueText& unique);

/// Writes the tree as a mail. Throws WriteFailure.
void WritePart(const Part& top, const WriteOptions& options, const Take& take);

}  // namespace MIME
