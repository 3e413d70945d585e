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

/// The encoded body that lines are added to.
struct FooterPlace {
    TransferEncoding::keys encoding;
    std::string_view lineEnd;
    std::span<const std::string> boundaries;  ///< around it
    bool isAnew = false;                      ///< the text is encoded anew in any case
};

/// Plans the addition of plain text, in lines of its own; in HTML it is made HTML, and put before
/// the end of the body. The entity is a text without children.
/// Throws WriteFailure: cannotEncode when `text` is not UTF-8, cannotEdit when the bytes of the
/// entity's text do not fit its charset, and would be lost by a conversion.
Footer MakeFooter(const Entity& entity, const FooterPlace& place, std::string_view text);

}  // namespace MIME
