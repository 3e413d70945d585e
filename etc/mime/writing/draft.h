#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "mime/mail.h"
#include "mime/writing/body_encoder.h"
#include "mime/writing/body_source.h"

namespace MIME {

/// An entity that is to be written: a body, or a multipart with children.
struct Draft {
    /// Whole fields with their line ends, without Content-Type and Content-Transfer-Encoding, which the
    /// writer makes.
    std::string fields;
    std::string type = "text/plain";
    std::vector<Parameter> parameters;  ///< of the type, without a boundary
    BodyForm form = BodyForm::text;
    SharedBody body;              ///< null for an empty one, and for a multipart
    std::vector<Draft> children;  ///< of a multipart
    std::string boundary;         ///< of a multipart; PlanDraft chooses one where it is empty
    BodyPlan plan;                ///< made by PlanDraft

    bool IsMultipart() const noexcept { return !children.empty(); }
};

/// Makes a boundary (RFC 2046, 5.1.1), each time another one.
using BoundaryMaker = std::function<std::string()>;

/// Random ones; none is ever the text of an encoded body. Throws WriteFailure without random numbers.
std::string MakeBoundary();

/// Decides how everything in the draft is written. No boundary occurs in a body or begins another.
/// @param around  the boundaries of the entities around it. @throws WriteFailure
void PlanDraft(Draft& draft, const BoundaryMaker& make, std::span<const std::string> around = {});

/// Passes a planned draft on: its fields, the empty line and its body, without a line end after it.
void WriteDraft(const Draft& draft, std::string_view lineEnd, const Take& take);

}  // namespace MIME
