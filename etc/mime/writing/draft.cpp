#include "mime/writing/draft.h"

#include <algorithm>
#include <functional>

#include "kivgui/ascii.h"
#include "mime/foundation/char_class.h"
#include "mime/mail/whole.h"
#include "mime/writing/body_survey.h"
#include "mime/writing/field_text.h"
#include "mime/writing/write_failure.h"

// A draft is planned before anything is written: first the boundaries, which no body may contain that is
// written as it is, then the transfer encodings from the leaves up, because a multipart is 8bit as soon as a
// part of it is (RFC 2045, 6.4). Drafts are at most a few hundred levels deep, so their functions recurse.

namespace MIME {

namespace {

using Boundaries = std::vector<std::string>;

constexpr std::string_view kLineEnd = "\r\n";

// --------------------------------------------------------------------------------- boundaries --

/// Finds lines that begin with "--" in text that comes in pieces, and passes their starts on without that.
class DashedLines {
public:
    using Found = std::function<void(std::string_view start)>;

    DashedLines(size_t wanted, Found found) : wanted_(wanted + 2), found_(std::move(found)) {}

    void Add(std::string_view piece) {
        while (!piece.empty()) {
            const size_t end = std::min(piece.find('\n'), piece.size());
            start_ += piece.substr(0, std::min(end, wanted_ - start_.size()));
            if (end == piece.size()) return;
            EndLine();
            piece.remove_prefix(end + 1);
        }
    }
    void EndLine() {
        if (start_.starts_with("--")) found_(std::string_view(start_).substr(2));
        start_.clear();
    }

private:
    size_t wanted_;  ///< bytes of each line
    Found found_;
    std::string start_;
};

/// Boundaries in a text that is written as it is are found here; all other bodies are encoded where they
/// have one (PlanBody).
void FindDashedLines(const Draft& leaf, size_t wanted, const DashedLines::Found& found) {
    if (leaf.form != BodyForm::verbatim && leaf.form != BodyForm::encoded) return;
    if (leaf.body == nullptr) return;
    DashedLines lines(wanted, found);
    leaf.body->Read([&](std::string_view piece) { lines.Add(piece); });
    lines.EndLine();
}

size_t MeasureLongest(const Boundaries& boundaries) {
    size_t longest = 0;
    for (const std::string& boundary : boundaries) longest = std::max(longest, boundary.size());
    return longest;
}

constexpr size_t kMadeBoundary = 34;  // UniqueText::MakeBoundary

/// RFC 2046, 5.1.1. One that could begin a boundary that is made later is not usable either.
bool IsUsable(std::string_view boundary) noexcept {
    static constexpr ByteSet kBytes = kAlphanumericBytes.WithAll("'()+_,-./:=? ");
    constexpr size_t kMax = 70;
    if (boundary.empty() || boundary.size() > kMax || boundary.back() == ' ') return false;
    if (boundary == "=" || (boundary.starts_with("=_") && boundary.size() < kMadeBoundary)) {
        return false;
    }
    return std::ranges::all_of(boundary, [](char c) { return kBytes.Has(c); });
}

bool BeginEachOther(std::string_view a, std::string_view b) noexcept {
    return a.starts_with(b) || b.starts_with(a);
}

/// Keeps the boundaries that a draft brings where they are safe, and clears the others.
class BoundaryKeeper {
public:
    explicit BoundaryKeeper(const Boundaries& around) : around_(around) {}

    void Visit(Draft& draft) {
        if (!draft.IsMultipart() && !draft.isMessage) return ClearThoseIn(draft);
        if (draft.IsMultipart()) {
            if (!IsSafe(draft.boundary)) Clear(draft);
            open_.push_back(&draft);
        }
        for (Draft& child : draft.children) Visit(child);
        if (draft.IsMultipart()) open_.pop_back();
    }

private:
    static void Clear(Draft& draft) {
        draft.boundary.clear();
        draft.typeField.clear();
    }

    bool IsSafe(const std::string& boundary) const {
        if (!IsUsable(boundary)) return false;
        const auto collides = [&](const std::string& other) {
            return !other.empty() && BeginEachOther(boundary, other);
        };
        return std::ranges::none_of(around_, collides) &&
               std::ranges::none_of(open_, collides, &Draft::boundary);
    }

    void ClearThoseIn(const Draft& leaf) {
        size_t wanted = 0;
        for (const Draft* draft : open_) wanted = std::max(wanted, draft->boundary.size());
        if (wanted == 0) return;
        FindDashedLines(leaf, wanted, [&](std::string_view start) {
            for (Draft* draft : open_) {
                if (!draft->boundary.empty() && start.starts_with(draft->boundary)) Clear(*draft);
            }
        });
    }

    const Boundaries& around_;
    std::vector<Draft*> open_;  ///< the multiparts around the one that is looked at
};

void Collect(Draft& draft, std::vector<Draft*>& unnamed, std::vector<const Draft*>& leaves) {
    if (draft.children.empty()) leaves.push_back(&draft);
    if (draft.IsMultipart() && draft.boundary.empty()) unnamed.push_back(&draft);
    for (Draft& child : draft.children) Collect(child, unnamed, leaves);
}

/// A body that may not be encoded cannot be protected from a boundary that it contains.
bool AreFree(const Boundaries& boundaries, const std::vector<const Draft*>& leaves) {
    const size_t longest = MeasureLongest(boundaries);
    const Prefixes prefixes(boundaries);
    return std::none_of(leaves.begin(), leaves.end(), [&](const Draft* leaf) {
        bool hasOne = false;
        FindDashedLines(*leaf, longest, [&](std::string_view start) {
            hasOne = hasOne || prefixes.BeginAny(start);
        });
        return hasOne;
    });
}

void GiveBoundaries(Draft& draft, UniqueText& unique) {
    std::vector<Draft*> unnamed;
    std::vector<const Draft*> leaves;
    Collect(draft, unnamed, leaves);
    if (unnamed.empty()) return;
    Boundaries boundaries;
    do {
        boundaries.clear();
        for (Draft* multipart : unnamed) {
            multipart->boundary = unique.MakeBoundary();
            boundaries.push_back(multipart->boundary);
        }
    } while (!AreFree(boundaries, leaves));
}

// ------------------------------------------------------------------------------------- bodies --

/// RFC 2045, 5.2: what is missing says us-ascii; RFC 2046, 4.1.2.
void NameCharset(Draft& leaf) {
    const bool isNamed =
        std::any_of(leaf.parameters.begin(), leaf.parameters.end(), [](const Parameter& parameter) {
            return KivGuiBase::EqualsCaseless(parameter.name, "charset");
        });
    const bool isDone = isNamed || !leaf.typeField.empty() || !leaf.encodingField.empty();
    if (isDone || !leaf.type.starts_with("text/") || !leaf.plan.isUtf8) return;
    leaf.parameters.insert(leaf.parameters.begin(),
                           {"charset", leaf.plan.isAscii ? "us-ascii" : "utf-8"});
}

void PlanLeaf(Draft& leaf, const Boundaries& boundaries) {
    if (leaf.body != nullptr) leaf.plan = PlanBody(*leaf.body, leaf.form, boundaries);
    if (leaf.mustBeUtf8 && !leaf.plan.isUtf8) {
        Fail(ErrorCode::cannotEncode, "the " + leaf.type + " text is not UTF-8");
    }
    if (!leaf.encodingField.empty() && !leaf.plan.isAscii) {
        Fail(ErrorCode::cannotEncode, "is said to be encoded, and has bytes above 127");
    }
    NameCharset(leaf);
}

/// Drops a preamble or epilogue that cannot be written as it is: it is for nobody to read.
void PlanSideText(std::string& text, const Boundaries& boundaries, BodyPlan& plan) {
    if (text.empty()) return;
    const SharedBody body = MakeViewSource(text);
    const Result<BodyPlan> planned =
        Caught<BodyPlan>([&] { return PlanBody(*body, BodyForm::encoded, boundaries); });
    if (!planned) {
        text.clear();
    } else if (planned->encoding == TransferEncoding::bit8) {
        plan.encoding = TransferEncoding::bit8;
    }
}

/// Content-Type, with CR LF.
std::string MakeTypeField(const Draft& draft) {
    if (!draft.typeField.empty()) return draft.typeField;
    std::vector<Parameter> parameters = draft.parameters;
    if (draft.IsMultipart()) parameters.push_back({"boundary", draft.boundary});
    std::string field = WriteParameterField("Content-Type", draft.type, parameters, kLineEnd);
    return AddRawParameters(std::move(field), draft.rawParameters, kLineEnd);
}

/// @param boundaries  those around the draft.
void PlanBodies(Draft& draft, Boundaries& boundaries) {
    if (draft.IsMultipart()) boundaries.push_back(draft.boundary);
    for (Draft& child : draft.children) {
        PlanBodies(child, boundaries);
        if (child.Is8Bit()) draft.plan.encoding = TransferEncoding::bit8;
    }
    if (draft.IsMultipart()) {
        PlanSideText(draft.preamble, boundaries, draft.plan);
        PlanSideText(draft.epilogue, boundaries, draft.plan);
        boundaries.pop_back();
    }
    try {
        if (draft.children.empty()) PlanLeaf(draft, boundaries);
        // What cannot be written is found before anything is.
        if (!draft.isWhole) static_cast<void>(MakeTypeField(draft));
    } catch (const WriteFailure& failure) {
        FailInEntity(failure.error, draft.path);
    }
}

// ------------------------------------------------------------------------------------ writing --

/// Passes on fields that were made with CR LF.
void TakeFields(std::string_view fields, std::string_view lineEnd, const Take& take) {
    if (lineEnd == kLineEnd) return take(fields);
    for (size_t end; (end = fields.find(kLineEnd)) != std::string_view::npos;) {
        take(fields.substr(0, end));
        take(lineEnd);
        fields.remove_prefix(end + kLineEnd.size());
    }
}

void WriteHeader(const Draft& draft, std::string_view lineEnd, const Take& take) {
    TakeFields(draft.fields, lineEnd, take);
    const bool lacksType =
        draft.mayLackType && draft.plan.isAscii && draft.plan.encoding == TransferEncoding::bit7;
    if (!lacksType) {
        TakeFields(draft.versionField, lineEnd, take);
        TakeFields(MakeTypeField(draft), lineEnd, take);
    }
    if (!draft.encodingField.empty()) {
        TakeFields(draft.encodingField, lineEnd, take);
    } else if (draft.plan.encoding != TransferEncoding::bit7) {  // what a missing field says
        take(MakeEncodingField(draft.plan.encoding, lineEnd));
    }
    TakeFields(draft.laterFields, lineEnd, take);
    take(lineEnd);
}

void WriteMultipart(const Draft& draft, std::string_view lineEnd, const Take& take) {
    if (!draft.preamble.empty()) {
        take(draft.preamble);
        take(lineEnd);
    }
    std::string line = "--" + draft.boundary;
    line += lineEnd;
    for (const Draft& child : draft.children) {
        take(line);
        WriteDraft(child, lineEnd, take);
        take(lineEnd);
    }
    take("--" + draft.boundary + "--");
    if (draft.epilogue.empty()) return;
    take(lineEnd);
    take(draft.epilogue);
}

}  // namespace

void FailInEntity(const Error& error, const std::string& path) {
    const bool namesFile =
        error.GetCode() == ErrorCode::cannotOpen || error.GetCode() == ErrorCode::cannotRead;
    if (path.empty() || !error.GetEntityPath().empty()) throw WriteFailure{error};
    Error placed =
        namesFile ? error : Error(error.GetCode(), "part " + path + ": " + error.GetText());
    throw WriteFailure{placed.SetSystemCode(error.GetSystemCode()).SetPlace(0, path)};
}

void PlanDraft(Draft& draft, UniqueText& unique, const Boundaries& around) {
    BoundaryKeeper(around).Visit(draft);
    GiveBoundaries(draft, unique);
    Boundaries boundaries = around;
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
    if (!draft.isWhole) WriteHeader(draft, lineEnd, take);
    if (draft.isMessage) {
        WriteDraft(draft.children.front(), lineEnd, take);
    } else if (draft.IsMultipart()) {
        WriteMultipart(draft, lineEnd, take);
    } else if (draft.body != nullptr) {
        EncodeBody(*draft.body, draft.plan, lineEnd, take);
    }
}

void WriteMessage(const Draft& draft, std::string_view lineEnd, const Take& take) {
    WriteDraft(draft, lineEnd, take);
    const Draft* last = &draft;
    while (last->isMessage) last = &last->children.front();
    const bool isOpen = last->IsMultipart() ? !last->epilogue.ends_with(lineEnd)
                                            : last->plan.encoding == TransferEncoding::base64;
    if (isOpen) take(lineEnd);
}

}  // namespace MIME
