#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "mime/mail/mail.h"
#include "mime/mime.h"

namespace MIME {

/// How lines are added to the text of an entity.
struct Footer {
    /// Encoded text to be put into the body at an offset from its start; everything else of it stays.
    struct Insertion {
        uint64_t offset;
        std::string text;
    };
    std::optional<Insertion> insertion;
    /// Or else the whole text with the lines, in UTF-8, to be encoded anew.
    std::string text;
};

/// Plans the addition of plain text, in lines of its own; in HTML it is made HTML, and put before
/// the end of the body. The entity is a text without children, and `boundaries` are those around it.
/// Throws WriteFailure: cannotEncode when `text` is not UTF-8, cannotEdit when the bytes of the
/// entity's text do not fit its charset, and would be lost by a conversion.
Footer MakeFooter(const Entity& entity, TransferEncoding::keys encoding, std::string_view text,
                  std::string_view lineEnd, std::span<const std::string> boundaries);

}  // namespace MIME
