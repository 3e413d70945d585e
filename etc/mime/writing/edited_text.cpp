#include <algorithm>
#include <set>
#include <utility>

#include "kivgui/ascii.h"
#include "mime/writing/edited_mail.h"
#include "mime/writing/field_text.h"
#include "mime/writing/footer.h"
#include "mime/writing/write_failure.h"

// How an edited mail is written: as a list of ranges of the source and what is written in their place; so
// all that is not in one of them comes out byte for byte. The difficult matter is the line end before
// a boundary line, which belongs to it: a child ends before it, and what is put after the child begins
// with a line end of its own.

namespace MIME {

using KivGuiBase::EqualsCaseless;

/// No boundary line is in a new part; so in an outline any other may stand for it.
NewText EditedMail::WriteLater(Draft draft) const {
    const std::string end(lineEnd_);
    return {[draft = std::move(draft), end](const Take& take) { WriteDraft(draft, end, take); },
            "Content-Type: application/octet-stream" + end + end + "-", NewText::Role::part};
}

/// The new children of a multipart, among them what is attached to the mail.
std::vector<Draft> EditedMail::GetAdded(uint32_t index) const {
    const auto change = changes_.find(index);
    if (change == changes_.end()) return {};
    std::vector<Draft> added = change->second.added;
    if (form_.isWrapped) return added;
    const std::vector<Draft>& attached = change->second.attached;
    added.insert(added.end(), attached.begin(), attached.end());
    return added;
}

/// The boundaries around what is inside an entity.
std::vector<std::string> EditedMail::GetBoundaries(uint32_t index) const {
    std::vector<std::string> boundaries;
    for (; index != EntityPlace::kNone; index = GetPlace(index).parent) {
        if (!GetPlace(index).hasBoundary) continue;
        boundaries.push_back(GetEntity(index).GetParameter("Content-Type", "boundary"));
    }
    return boundaries;
}

/// A draft that can stand inside boundaries.
Draft EditedMail::Plan(const Draft& draft, const std::vector<std::string>& boundaries,
                       UniqueText& unique) const {
    Draft planned = draft;
    // Lines that end in LF would take the CRs of a file.
    const bool isFile = !planned.mustBeUtf8;
    if (isFile && planned.form == BodyForm::text && lineEnd_ == "\n") {
        planned.form = BodyForm::bytes;
    }
    const Result<void> done = Caught<void>([&] { PlanDraft(planned, unique, boundaries); });
    if (done) return planned;
    const bool isMessage = planned.form == BodyForm::verbatim && !planned.IsMultipart();
    if (!isMessage || done.error().GetCode() != ErrorCode::cannotEncode) {
        throw WriteFailure{done.error()};
    }
    // It has a boundary of this mail, as one that is attached to itself.
    planned.type = "application/octet-stream";
    planned.form = BodyForm::bytes;
    PlanDraft(planned, unique, boundaries);
    return planned;
}

std::string EditedMail::MakeFreeBoundary(UniqueText& unique) const {
    std::string boundary;
    do boundary = unique.MakeBoundary();
    while (Occurs("--" + boundary));
    return boundary;
}

/// Is the text in the source?
bool EditedMail::Occurs(std::string_view text) const {
    constexpr size_t kWindow = 0x400000;
    PassedPages passed = tree_->Pass(source_.data());
    for (std::string_view rest = source_; !rest.empty();) {
        if (rest.substr(0, kWindow + text.size()).find(text) != std::string_view::npos) return true;
        rest.remove_prefix(std::min(kWindow, rest.size()));
        passed.Pass(rest.data());
    }
    return false;
}

/// What a new line at a place of the source begins with: a line end, where the text breaks off in an mbox
/// line or a boundary line.
std::string EditedMail::GetEndBefore(uint64_t place) const {
    const std::string_view before = source_.substr(0, static_cast<size_t>(place));
    return std::string(before.empty() || before.ends_with('\n') ? std::string_view() : lineEnd_);
}

/// @param hasNewBody  something is put before the body, or in its place.
void EditedMail::SpliceHeader(uint32_t index, const HeaderEdit& header, bool hasNewBody,
                              SplicedText& text) const {
    const EntityPlace& place = GetPlace(index);
    std::string block = header.GetText();
    const bool hasBody = hasNewBody || place.body < place.end;
    // Readers skip empty lines before the first field, and would look for it in the body.
    if (index == 0 && hasBody && block.empty()) block = WriteField("MIME-Version", "1.0", lineEnd_);
    // Where there was no empty line before the body, there must be one now.
    if (place.fieldsEnd == place.body && hasBody) {
        if (!block.empty() && !block.ends_with('\n')) block += lineEnd_;
        block += lineEnd_;
    }
    if (!block.empty()) block.insert(0, GetEndBefore(place.fields));
    text.Replace(place.fields, place.fieldsEnd,
                 NewText(std::move(block), NewText::Role::header, index));
}

/// Splices lines that are added to a text, and the header, which is changed where the text has to be
/// encoded anew.
void EditedMail::SpliceFooter(uint32_t index, const std::string& lines,
                              std::optional<HeaderEdit>& header, SplicedText& text) const {
    const EntityPlace& place = GetPlace(index);
    const std::vector<std::string> boundaries = GetBoundaries(index);
    Footer footer =
        MakeFooter(GetEntity(index), {place.encoding, lineEnd_, boundaries, form_.isAnew}, lines);
    uint64_t begin = place.body;
    uint64_t end = place.end;
    std::optional<NewText> added;
    if (footer.insertion) {
        begin = end = place.body + footer.insertion->offset;
        added.emplace(std::move(footer.insertion->text), NewText::Role::body, index);
    } else if (changes_.at(index).hasNewType) {
        Fail(ErrorCode::cannotEdit,
             "has a new Content-Type, and the text to be added needs another");
    } else {
        added = EncodeNewText(index, std::move(footer.text), header);
    }
    const bool hasEmptyLine = place.fieldsEnd != place.body;
    const bool hasFields = place.fields != place.fieldsEnd;
    if (!header && place.body == place.end && !(hasEmptyLine && hasFields)) {
        header.emplace(*tree_, index, lineEnd_);
    }
    if (header && (index != 0 || !TakesTopApart())) SpliceHeader(index, *header, true, text);
    text.Replace(begin, end, std::move(*added));
}

/// A text in UTF-8 for the place of a body, and the fields that say so.
NewText EditedMail::EncodeNewText(uint32_t index, std::string newText,
                                  std::optional<HeaderEdit>& header) const {
    if (index == 0 && tree_->hasContentType) {
        Fail(ErrorCode::cannotEdit, "the mail's Content-Type is not in it");
    }
    const Entity entity = GetEntity(index);
    const SharedBody body = MakeCanonicalSource(MakeTextSource(std::move(newText)));
    const BodyPlan plan = PlanBody(*body, BodyForm::text, GetBoundaries(index));
    std::vector<Parameter> parameters;
    if (const std::optional<Field> type = entity.FindField("Content-Type")) {
        parameters = type->GetParameters();
    }
    std::erase_if(parameters, [](const Parameter& parameter) {
        return EqualsCaseless(parameter.name, "charset");
    });
    parameters.push_back({"charset", "utf-8"});
    if (!header) header.emplace(*tree_, index, lineEnd_);
    if (index == 0 && !header->Has("MIME-Version")) {
        header->Add("MIME-Version", WriteField("MIME-Version", "1.0", lineEnd_));
    }
    header->Set("Content-Type",
                WriteParameterField("Content-Type", entity.GetMediaType(), parameters, lineEnd_));
    header->Set("Content-Transfer-Encoding", MakeEncodingField(plan.encoding, lineEnd_));
    return {[body, plan, end = lineEnd_](const Take& take) { EncodeBody(*body, plan, end, take); },
            "-", NewText::Role::body, index};
}

/// Takes out the removed children of a multipart, each with one boundary line. Where none is left, the
/// first new one takes their place, or an empty text.
void EditedMail::SpliceRemoved(uint32_t parent, UniqueText& unique, SplicedText& text) const {
    constexpr uint32_t kNone = EntityPlace::kNone;
    uint32_t lastKept = kNone;
    uint32_t last = kNone;
    uint32_t first = parent + 1;
    for (uint32_t child = first; child < GetPlace(parent).subtreeEnd;
         child = GetPlace(child).subtreeEnd) {
        last = child;
        if (!IsRemoved(child)) lastKept = child;
    }
    if (lastKept == kNone) {
        const std::vector<Draft> added = GetAdded(parent);
        const Draft draft = added.empty() ? Draft() : added.front();
        text.Replace(GetPlace(first).begin, GetPlace(first).begin,
                     GetEndBefore(GetPlace(first).begin));
        return text.Replace(GetPlace(first).begin, GetPlace(last).end,
                            WriteLater(Plan(draft, GetBoundaries(parent), unique)));
    }
    for (uint32_t child = first; child < lastKept; child = GetPlace(child).subtreeEnd) {
        const uint64_t next = GetPlace(GetPlace(child).subtreeEnd).begin;
        if (IsRemoved(child)) text.Replace(GetPlace(child).begin, next, std::string());
    }
    if (lastKept != last) {
        text.Replace(GetPlace(lastKept).end, GetPlace(last).end, std::string());
    }
}

bool EditedMail::KeepsChildren(uint32_t parent) const {
    uint32_t child = parent + 1;
    while (child < GetPlace(parent).subtreeEnd && IsRemoved(child)) {
        child = GetPlace(child).subtreeEnd;
    }
    return child < GetPlace(parent).subtreeEnd;
}

bool EditedMail::IsRemoved(uint32_t index) const {
    const auto change = changes_.find(index);
    return change != changes_.end() && change->second.isRemoved;
}

/// Puts new children after the last one, each after a copy of the last child's boundary line.
void EditedMail::SpliceAdded(uint32_t index, std::span<const Draft> added, UniqueText& unique,
                             SplicedText& text) const {
    uint32_t last = index + 1;
    while (GetPlace(last).subtreeEnd < GetPlace(index).subtreeEnd) last = GetPlace(last).subtreeEnd;
    const std::string_view before = source_.substr(0, static_cast<size_t>(GetPlace(last).begin));
    const size_t start = before.find_last_of('\n', before.size() - 2) + 1;
    const std::string line = std::string(lineEnd_) + std::string(before.substr(start)) +
                             GetEndBefore(GetPlace(last).begin);
    const uint64_t at = GetPlace(last).end;
    for (const Draft& draft : added) {
        text.Replace(at, at, line);
        text.Replace(at, at, WriteLater(Plan(draft, GetBoundaries(index), unique)));
    }
}

/// The entities around those that change.
std::set<uint32_t> EditedMail::FindAround() const {
    std::set<uint32_t> around;
    for (const auto& [index, change] : changes_) {
        uint32_t i = GetAdded(index).empty() ? GetPlace(index).parent : index;
        while (i != EntityPlace::kNone && around.insert(i).second) i = GetPlace(i).parent;
    }
    return around;
}

/// Ends the header blocks around a changed entity that have no empty line: what is new inside may have
/// fields, and readers would take them for a part of that block.
void EditedMail::SpliceEmptyLines(const std::set<uint32_t>& parents, SplicedText& text) const {
    for (const uint32_t index : parents) {
        const EntityPlace& place = GetPlace(index);
        const auto own = changes_.find(index);
        const bool isWritten =
            own != changes_.end() && (own->second.header || own->second.IsGone());
        if (place.fieldsEnd != place.body || isWritten || (index == 0 && TakesTopApart())) continue;
        text.Replace(place.body, place.body,
                     NewText(std::string(lineEnd_), NewText::Role::header, index));
    }
}

/// @param topHeader  receives the header block of the mail, where it was changed.
SplicedText EditedMail::MakeText(UniqueText& unique, std::optional<HeaderEdit>& topHeader) const {
    SplicedText text(*tree_);
    std::set<uint32_t> parents;  // that lose children
    // First, so that what is put at the start of a body comes after its empty line.
    SpliceEmptyLines(FindAround(), text);
    for (const auto& [index, change] : changes_) {
        const EntityPlace& place = GetPlace(index);
        if (change.isRemoved) parents.insert(place.parent);
        if (change.isRemoved) continue;
        if (index == 0) topHeader = change.header;
        if (index == 0 && change.replacement) continue;
        if (change.replacement) {
            text.Replace(place.begin, place.begin, GetEndBefore(place.begin));
            text.Replace(
                place.begin, place.end,
                WriteLater(Plan(*change.replacement, GetBoundaries(place.parent), unique)));
            continue;
        }
        std::optional<HeaderEdit> header = change.header;
        if (!change.footer.empty()) {
            SpliceFooter(index, change.footer, header, text);
        } else if (header && (index != 0 || !TakesTopApart())) {
            SpliceHeader(index, *header, false, text);
        }
        if (index == 0) topHeader = std::move(header);
    }
    for (const uint32_t parent : parents) SpliceRemoved(parent, unique, text);
    // Where several multiparts end at one place, the innermost comes first.
    for (auto entry = changes_.rbegin(); entry != changes_.rend(); ++entry) {
        const auto& [index, change] = *entry;
        if (change.IsGone()) continue;
        const std::vector<Draft> added = GetAdded(index);
        if (added.empty()) continue;
        const size_t used = KeepsChildren(index) ? 0 : 1;
        SpliceAdded(index, std::span(added).subspan(used), unique, text);
    }
    return text;
}

}  // namespace MIME
