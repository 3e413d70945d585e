#pragma once

#include <string>
#include <string_view>

#include "mime/mime.h"
#include "mime/parser/reading.h"

namespace MIME {

/// Stores fields in a HeaderMap, by the rules of one reading.
class FieldReader {
public:
    explicit FieldReader(Reading& reading) noexcept : reading_(reading) {}

    /// @param value  in the text, without white space around it; may have folds by the mail rules.
    /// @return false when memory runs out. Throws std::bad_alloc.
    bool Store(HeaderMap& headers, std::string_view name, std::string_view value);
    /// The same for a Content-Type value that is not part of the text.
    bool StoreContentType(HeaderMap& headers, std::string_view value);

private:
    bool StoreByMailRules(HeaderMap& headers, std::string_view name, std::string_view value);

    Reading& reading_;
    std::string unfolded_;  ///< kept, so that fields share its memory
};

/// Returns true for the fields whose value is a list of addresses, "From" and the like.
bool HoldsAddresses(std::string_view name) noexcept;
/// Returns true for the fields that have parameters by the mail rules, "Content-Type" and the like.
bool HoldsParameters(std::string_view name) noexcept;

/// Is a media type one of the multiparts?
bool IsMultipart(std::string_view type) noexcept;
/// By the mail rules: does an entity with this media type, empty without the field, carry a message? In
/// a digest also one without (RFC 2046, 5.1.5).
bool CarriesMessage(std::string_view type, bool isInDigest) noexcept;
/// Is a message that is carried in this encoding read? Not inside too many encoded messages.
bool MayDescend(TransferEncoding::keys encoding, const Reading& reading) noexcept;
/// The encoding of that name (RFC 2045, 6.1). @return false for an unknown one, which stays what it was.
bool FindTransferEncoding(std::string_view text, TransferEncoding::keys& encoding) noexcept;

/// Is it text that is read as it is? By the mail rules only.
bool IsPlainText(const ContentType& type) noexcept;

/// The value without its line ends, each of which is before white space (RFC 5322, 2.2.3).
/// @param unfolded  keeps the result when there are any.
std::string_view Unfold(std::string_view value, std::string& unfolded);

/// Derives the part's `info` from its Content-Type and Content-Transfer-Encoding fields, both of
/// which it adds, empty, where they are missing.
///
/// @param where       the entity's place in the text, for the report.
/// @param isInDigest  by the mail rules, a missing Content-Type then means message/rfc822
///                    (RFC 2046, 5.1.5).
/// @return false, with a message, when the transfer encoding is none of ours and the rules are exact.
bool SetInfoFromHeaders(Part& part, Reading& reading, const char* where, bool isInDigest);

}  // namespace MIME
