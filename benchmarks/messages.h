#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "mime/mime.h"

namespace MIME::Bench {

/// Kinds of mail, from many small messages to single large bodies.
enum class Mail { small, typical, base64, quotedPrintable, eightBit, binary, manyParts, deep };

inline constexpr std::pair<const char*, Mail> kMails[] = {
    {"small", Mail::small},          {"typical", Mail::typical},
    {"base64", Mail::base64},        {"quoted-printable", Mail::quotedPrintable},
    {"8bit", Mail::eightBit},        {"binary", Mail::binary},
    {"2000 parts", Mail::manyParts}, {"200 levels", Mail::deep},
};

/// The messages of one kind, made on the first call and kept.
const std::vector<std::string>& GetMessages(Mail mail);

/// One message whose body is written as quoted-printable.
std::string MakeTextMessage(const std::string& body);

uint64_t CountBytes(const std::vector<std::string>& messages);

/// Reads a message that must be readable: throws when it is not.
void Read(Part& tree, const std::string& message, const ReadOptions& options = {});

}  // namespace MIME::Bench
