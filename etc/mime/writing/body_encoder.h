#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "mime/mime.h"
#include "mime/writing/body_source.h"

namespace MIME {

/// What may be done to a body so that it can be sent.
enum class BodyForm {
    text,      ///< lines of text that end in CR LF
    bytes,     ///< any bytes, of which none may change
    verbatim,  ///< a message or multipart, which may not be encoded (RFC 2045, 6.4)
    encoded,   ///< lines that are encoded already, or a whole entity
};

/// How a body is sent, and what was seen in it.
struct BodyPlan {
    TransferEncoding::keys encoding = TransferEncoding::bit7;
    uint64_t size = 0;  ///< in bytes, not encoded
    bool isAscii = true;
    bool isUtf8 = true;
    bool protectsDashes = false;  ///< no line of quoted-printable may begin with "--"
};

/// Chooses the smallest safe transfer encoding (RFC 2045, 6), in one pass over the body.
///
/// 7bit is safe for ASCII text without controls but tabs, with CR LF alone as line end and no line above 998
/// bytes, no white space before a line end, and no line that begins with ".", with "From ", or with
/// "--" and one of `boundaries`. Other text becomes quoted-printable or base64, bytes base64.
///
/// A verbatim or encoded body is passed on as it is, as 7bit or 8bit; WriteFailure (cannotEncode) where
/// neither can carry it, because of a NUL, a line above 998 bytes, a CR or LF alone, or a boundary
/// line in it.
BodyPlan PlanBody(const BodySource& body, BodyForm form, std::span<const std::string> boundaries);

/// Passes the encoded body on, in pieces and in bounded memory, without a line end after base64.
/// Quoted-printable has lines of at most 76 characters, and "." and "From " are encoded only at the
/// start of a line; any CR or LF that is not part of a CR LF is encoded. But in base64 and binary, each
/// CR LF of the body is a `lineEnd`.
/// @param lineEnd  CR LF or LF.
void EncodeBody(const BodySource& body, const BodyPlan& plan, std::string_view lineEnd,
                const Take& take);

}  // namespace MIME
