#include <algorithm>
#include <iterator>
#include <utility>

#include "kivgui/ascii.h"
#include "mime/writing/edited_mail.h"
#include "mime/writing/field_text.h"
#include "mime/writing/write_failure.h"

// How the mail is put together: the spliced text, where attachments or a signature are put around it what comes
// before that, and the choice of a form. The first form that reads as it should is written.

namespace MIME {

using KivGuiBase::EqualsCaseless;

bool EditedMail::HasAttached() const {
    const auto top = changes_.find(0);
    return top != changes_.end() && !top->second.attached.empty();
}

/// Where the text ends in a boundary line that does not close its multipart: the end of that line. Readers
/// take it for a closing one as long as nothing follows.
std::optional<uint64_t> EditedMail::FindOpenEnd() const {
    const std::string_view text = source_.substr(0, source_.find_last_not_of(" \t\r\n") + 1);
    const std::string_view line = text.substr(text.rfind('\n') + 1);
    if (!line.starts_with("--")) return std::nullopt;
    const std::vector<std::string> open =
        GetBoundaries(static_cast<uint32_t>(tree_->places.size() - 1));
    const bool isOpen = std::find(open.begin(), open.end(), line.substr(2)) != open.end();
    return isOpen ? std::optional<uint64_t>(text.size()) : std::nullopt;
}

bool EditedMail::CanTake(Form form) const {
    const bool isFollowed = form.isWrapped || signer_;
    if (form.isClosed && !(isFollowed && FindOpenEnd())) return false;
    const bool hasFooter = std::any_of(changes_.begin(), changes_.end(), [](const auto& entry) {
        return !entry.second.footer.empty();
    });
    if (form.isAnew && !hasFooter) return false;
    if (!HasAttached()) return !form.isWrapped;
    return form.isWrapped || (top_.IsType("multipart/mixed") && top_.HasChildren());
}

/// Is the header block of the mail divided into what is about its content and the rest?
bool EditedMail::TakesTopApart() const {
    if (signer_ || form_.isWrapped) return true;
    const auto top = changes_.find(0);
    return top != changes_.end() && top->second.replacement;
}

/// Makes what was the mail's content the first part of a multipart/mixed, and what is attached the others.
void EditedMail::Wrap(const HeaderEdit& header, UniqueText& unique, Composed& composed) const {
    const std::string boundary = MakeFreeBoundary(unique);
    const std::string end(lineEnd_);
    const std::string delimiter = end + "--" + boundary;
    const uint64_t at = source_.size();
    bool is8Bit = EqualsCaseless(top_.GetField("Content-Transfer-Encoding"), "8bit");
    for (const Draft& draft : changes_.at(0).attached) {
        Draft planned = Plan(draft, {boundary}, unique);
        is8Bit = is8Bit || planned.Is8Bit();
        composed.text.Replace(at, at, delimiter + end);
        composed.text.Replace(at, at, WriteLater(std::move(planned)));
    }
    composed.text.Replace(at, at, delimiter + "--" + end);
    const Parameter parameters[] = {{"boundary", boundary}};
    std::string fields =
        WriteParameterField("Content-Type", "multipart/mixed", parameters, lineEnd_);
    if (is8Bit) fields += "Content-Transfer-Encoding: 8bit" + end;
    composed.inner.emplace_back(fields + delimiter + end);
    composed.inner.emplace_back(header.GetContentFields() + end, NewText::Role::header, 0);
}

void EditedMail::TakeTopApart(const HeaderEdit& header, UniqueText& unique,
                              Composed& composed) const {
    composed.outer = header.GetOtherFields();
    composed.rest = GetPlace(0).body;
    const auto top = changes_.find(0);
    if (top != changes_.end() && top->second.replacement) {
        composed.inner.push_back(WriteLater(Plan(*top->second.replacement, {}, unique)));
        // Without a signature around it, it is the top itself, and these are not all its fields.
        if (!signer_) composed.inner.back().role = NewText::Role::markup;
        composed.rest = GetPlace(0).end;
    } else if (form_.isWrapped) {
        Wrap(header, unique, composed);
    } else {
        composed.inner.emplace_back(header.GetContentFields() + std::string(lineEnd_),
                                    NewText::Role::header, 0);
    }
}

EditedMail::Composed EditedMail::Compose() const {
    UniqueText unique;
    std::optional<HeaderEdit> topHeader;
    Composed composed{MakeText(unique, topHeader), {}, {}, 0, {}};
    if (form_.isClosed) {
        const uint64_t at = *FindOpenEnd();
        composed.text.Replace(at, at, "--");
    }
    if (TakesTopApart()) {
        if (!topHeader) topHeader.emplace(*tree_, 0, lineEnd_);
        TakeTopApart(*topHeader, unique, composed);
    }
    if (signer_) composed.boundary = MakeFreeBoundary(unique);
    composed.text.Sort();
    return composed;
}

void EditedMail::WriteComposed(const Composed& composed, const Take& take) const {
    const auto writeContent = [&composed](const Take& takeContent) {
        for (const NewText& added : composed.inner) added.write(takeContent);
        composed.text.Write(composed.rest, takeContent);
    };
    if (signer_) {
        CheckCanBeSigned(writeContent);
        return signer_->Write(composed.outer, composed.boundary, writeContent, take);
    }
    if (TakesTopApart()) {
        take(source_.substr(0, static_cast<size_t>(GetPlace(0).fields)));
        take(GetEndBefore(GetPlace(0).fields));
        take(composed.outer);
        take(WriteField("MIME-Version", "1.0", lineEnd_));
    }
    writeContent(take);
}

void EditedMail::Write(const Take& take) {
    if (firstError) throw WriteFailure{*firstError};
    if (changes_.empty() && !signer_) return SplicedText(*tree_).Write(0, take);
    constexpr Form kForms[] = {{false, false, false}, {true, false, false}, {false, true, false},
                               {true, true, false},   {false, false, true}, {true, false, true}};
    for (const Form form : kForms) {
        if (!CanTake(form)) continue;
        form_ = form;
        const Composed composed = Compose();
        if (ReadsAsMeant(composed)) return WriteComposed(composed, take);
    }
    Fail(ErrorCode::cannotEdit,
         "is damaged: after this change, other parts would be read otherwise");
}

}  // namespace MIME
