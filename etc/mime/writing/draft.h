#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "mime/mail/mail.h"
#include "mime/writing/body_encoder.h"
#include "mime/writing/body_source.h"
#include "mime/writing/unique_text.h"

namespace MIME {

/// An entity that is to be written: a body, or a multipart with children.
struct Draft {
    /// Whole fields, each line ending in CR LF, without Content-Type and Content-Transfer-Encoding,
    /// which the writer makes.
    std::string fields;
    std::string type = "text/plain";
    std::vector<Parameter> parameters;  ///< of the type, without a boundary
    BodyForm form = BodyForm::text;
    SharedBody body;              ///< null for an empty one, and for a multipart
    bool mustBeUtf8 = false;      ///< PlanDraft fails when the body is not
    std::vector<Draft> children;  ///< of a multipart
    std::string boundary;         ///< of a multipart; PlanDraft chooses one where it is empty
    BodyPlan plan;                ///< made by PlanDraft

    bool IsMultipart() const noexcept { return !children.empty(); }
    bool Is8Bit() const noexcept { return plan.encoding == TransferEncoding::bit8; }
};

/// Decides how everything in the draft is written, and names the charset of its texts. No boundary
/// occurs in a body or begins another.
/// @param around  the boundaries of the entities around it. @throws WriteFailure
void PlanDraft(Draft& draft, UniqueText& unique, const std::vector<std::string>& around = {});

/// The field that names a transfer encoding.
std::string MakeEncodingField(TransferEncoding::keys encoding, std::string_view lineEnd);

/// Passes a planned draft on: its fields, the empty line and its body, without a line end after it.
void WriteDraft(const Draft& draft, std::string_view lineEnd, const Take& take);

/// The same for a whole message, whose last line is ended where that adds nothing to a body.
void WriteMessage(const Draft& draft, std::string_view lineEnd, const Take& take);

}  // namespace MIME
