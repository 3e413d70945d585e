#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "mime/mail/mail.h"
#include "mime/writing/body_encoder.h"
#include "mime/writing/body_source.h"
#include "mime/writing/unique_text.h"

namespace MIME {

/// An entity that is to be written: a body, a multipart with children, or one that carries a message.
struct Draft {
    /// Whole fields, each line ending in CR LF, without Content-Type and Content-Transfer-Encoding,
    /// which the writer makes.
    std::string fields;
    std::string laterFields;  ///< those that are written after these two
    std::string type = "text/plain";
    std::vector<Parameter> parameters;       ///< of the type, without a boundary
    std::vector<std::string> rawParameters;  ///< "name=value", written as they are
    std::string versionField;                ///< MIME-Version, written before the type; or empty
    /// Type and version are left out where the body is what an entity without them has: ASCII, 7bit.
    bool mayLackType = false;
    /// A whole Content-Type field that says the same, boundary included. It is written instead, unless
    /// PlanDraft has to choose another boundary.
    std::string typeField;
    BodyForm form = BodyForm::text;
    SharedBody body;              ///< null for an empty one, and where there are children
    bool mustBeUtf8 = false;      ///< PlanDraft fails when the body is not
    bool isWhole = false;         ///< the body is the whole entity, its fields too
    std::string encodingField;    ///< of an encoded body, the field that says how; empty for none
    std::vector<Draft> children;  ///< of a multipart; or the message that is carried
    bool isMessage = false;       ///< the one child is a message that this carries
    std::string preamble;         ///< of a multipart (RFC 2046, 5.1.1); left out where it
    std::string epilogue;         ///< cannot be written as it is
    /// Of a multipart; PlanDraft chooses one where it is empty, malformed or not free.
    std::string boundary;
    std::string path;  ///< of the entity, for errors; may be empty
    BodyPlan plan;     ///< made by PlanDraft

    bool IsMultipart() const noexcept { return !children.empty() && !isMessage; }
    bool Is8Bit() const noexcept { return plan.encoding == TransferEncoding::bit8; }
};

/// Decides how everything in the draft is written, and names the charset of its texts. No boundary
/// occurs in a body inside it, or begins or is begun by one around it.
/// @param around  the boundaries of the entities around it. @throws WriteFailure
void PlanDraft(Draft& draft, UniqueText& unique, const std::vector<std::string>& around = {});

/// The field that names a transfer encoding.
std::string MakeEncodingField(TransferEncoding::keys encoding, std::string_view lineEnd);

/// Passes a planned draft on: its fields, the empty line and its body, without a line end after it.
void WriteDraft(const Draft& draft, std::string_view lineEnd, const Take& take);

/// The same for a whole message, whose last line is ended where that adds nothing to a body.
void WriteMessage(const Draft& draft, std::string_view lineEnd, const Take& take);

/// Throws the failure as one of an entity: its path is in the error, and in the text unless that names a
/// file.
[[noreturn]] void FailInEntity(const Error& error, const std::string& path);

}  // namespace MIME
