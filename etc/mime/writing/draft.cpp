#include "mime/writing/draft.h"

#include <algorithm>

#include "kivgui/ascii.h"
#include "mime/mail/whole.h"
#include "mime/writing/field_text.h"
#include "mime/writing/write_failure.h"

// A draft is planned before anything is written: first the boundaries, which no body may contain, then
// the transfer encodings from the leaves up, because a multipart is 8bit as soon as a part of it is (RFC
// 2045, 6.4). Drafts are at most a few hundred levels deep, so their functions recurse.

namespace MIME {

namespace {

using Boundaries = std::vector<std::string>;

void CollectLeaves(const Draft& draft, std::vector<const Draft*>& leaves) {
    if (!draft.IsMultipart()) leaves.push_back(&draft);
    for (const Draft& child : draft.children) CollectLeaves(child, leaves);
}

/// Finds boundary lines in text that comes in pieces.
class BoundaryLineFinder {
public:
    explicit BoundaryLineFinder(const Boundaries& boundaries) : boundaries_(boundaries) {
        for (const std::string& boundary : boundaries) {
            longest_ = std::max(longest_, boundary.size() + 2);
        }
    }

    bool HasFound() const noexcept { return hasFound_; }

    void Take(std::string_view piece) {
        while (!piece.empty() && !hasFound_) {
            const size_t end = std::min(piece.find('\n'), piece.size());
            start_ += piece.substr(0, std::min(end, longest_ - start_.size()));
            hasFound_ = IsBoundaryLine();
            if (end == piece.size()) return;
            start_.clear();
            piece.remove_prefix(end + 1);
        }
    }

private:
    bool IsBoundaryLine() const {
        if (!start_.starts_with("--")) return false;
        return std::any_of(boundaries_.begin(), boundaries_.end(),
                           [this](const std::string& boundary) {
                               return std::string_view(start_).substr(2).starts_with(boundary);
                           });
    }

    const Boundaries& boundaries_;
    size_t longest_ = 0;
    std::string start_;  ///< of the line
    bool hasFound_ = false;
};

/// A body that may not be encoded cannot be protected from a boundary that it contains.
bool IsFree(const Boundaries& boundaries, const std::vector<const Draft*>& leaves) {
    return std::none_of(leaves.begin(), leaves.end(), [&](const Draft* leaf) {
        if (leaf->form != BodyForm::verbatim || leaf->body == nullptr) return false;
        BoundaryLineFinder finder(boundaries);
        leaf->body->Read([&](std::string_view piece) { finder.Take(piece); });
        return finder.HasFound();
    });
}

void GiveBoundaries(Draft& draft, UniqueText& unique, Boundaries& given) {
    if (!draft.IsMultipart()) return;
    draft.boundary = unique.MakeBoundary();
    given.push_back(draft.boundary);
    for (Draft& child : draft.children) GiveBoundaries(child, unique, given);
}

/// RFC 2045, 5.2: what is missing says us-ascii; RFC 2046, 4.1.2.
void NameCharset(Draft& leaf) {
    const bool isNamed =
        std::any_of(leaf.parameters.begin(), leaf.parameters.end(), [](const Parameter& parameter) {
            return KivGuiBase::EqualsCaseless(parameter.name, "charset");
        });
    if (isNamed || !leaf.type.starts_with("text/") || !leaf.plan.isUtf8) return;
    leaf.parameters.insert(leaf.parameters.begin(),
                           {"charset", leaf.plan.isAscii ? "us-ascii" : "utf-8"});
}

void PlanBodies(Draft& draft, const Boundaries& boundaries) {
    for (Draft& child : draft.children) {
        PlanBodies(child, boundaries);
        if (child.Is8Bit()) draft.plan.encoding = TransferEncoding::bit8;
    }
    if (draft.IsMultipart()) return;
    if (draft.body != nullptr) draft.plan = PlanBody(*draft.body, draft.form, boundaries);
    if (draft.mustBeUtf8 && !draft.plan.isUtf8) {
        Fail(ErrorCode::cannotEncode, "the " + draft.type + " text is not UTF-8");
    }
    NameCharset(draft);
}

std::string MakeContentFields(const Draft& draft, std::string_view lineEnd) {
    std::vector<Parameter> parameters = draft.parameters;
    if (draft.IsMultipart()) parameters.push_back({"boundary", draft.boundary});
    std::string fields = WriteParameterField("Content-Type", draft.type, parameters, lineEnd);
    // 7bit is what a missing field says.
    if (draft.plan.encoding == TransferEncoding::bit7) return fields;
    return fields + MakeEncodingField(draft.plan.encoding, lineEnd);
}

/// Passes on fields that were made with CR LF.
void TakeFields(std::string_view fields, std::string_view lineEnd, const Take& take) {
    if (lineEnd == "\r\n") return take(fields);
    for (size_t end; (end = fields.find("\r\n")) != std::string_view::npos;) {
        take(fields.substr(0, end));
        take(lineEnd);
        fields.remove_prefix(end + 2);
    }
}

}  // namespace

void PlanDraft(Draft& draft, UniqueText& unique, const Boundaries& around) {
    std::vector<const Draft*> leaves;
    CollectLeaves(draft, leaves);
    Boundaries boundaries;
    do {
        boundaries = around;
        GiveBoundaries(draft, unique, boundaries);
    } while (
        boundaries.size() > around.size() &&
        !IsFree({boundaries.begin() + static_cast<std::ptrdiff_t>(around.size()), boundaries.end()},
                leaves));
    PlanBodies(draft, boundaries);
}

std::string MakeEncodingField(TransferEncoding::keys encoding, std::string_view lineEnd) {
    return Whole([&] {
        std::string field = "Content-Transfer-Encoding: ";
        field += std::string_view(TransferEncoding::GetStr(encoding));
        return field += lineEnd;
    });
}

void WriteDraft(const Draft& draft, std::string_view lineEnd, const Take& take) {
    TakeFields(draft.fields, lineEnd, take);
    take(MakeContentFields(draft, lineEnd));
    take(lineEnd);
    if (!draft.IsMultipart()) {
        if (draft.body != nullptr) EncodeBody(*draft.body, draft.plan, lineEnd, take);
        return;
    }
    std::string line = "--" + draft.boundary;
    line += lineEnd;
    for (const Draft& child : draft.children) {
        take(line);
        WriteDraft(child, lineEnd, take);
        take(lineEnd);
    }
    take("--" + draft.boundary + "--");
}

void WriteMessage(const Draft& draft, std::string_view lineEnd, const Take& take) {
    WriteDraft(draft, lineEnd, take);
    if (draft.IsMultipart() || draft.plan.encoding == TransferEncoding::base64) take(lineEnd);
}

}  // namespace MIME
