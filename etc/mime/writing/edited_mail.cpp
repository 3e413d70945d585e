#include "mime/writing/edited_mail.h"

#include <set>
#include <utility>

#include "kivgui/ascii.h"
#include "mime/writing/field_text.h"
#include "mime/writing/footer.h"
#include "mime/writing/parameter_list.h"
#include "mime/writing/write_failure.h"

// What an edit is told: each call is checked, and noted by the entity that it changes.

namespace MIME {

using KivGuiBase::EqualsCaseless;

EditedMail::EditedMail(const Mail& mail)
    : top_(mail.GetTop()),
      tree_(top_.tree_),
      source_(mail.GetSource()),
      lineEnd_(FindLineEnd(source_)) {}

/// What was to be changed inside an entity is replaced or removed with it.
void EditedMail::ForgetInside(uint32_t index) {
    changes_.erase(changes_.upper_bound(index), changes_.lower_bound(GetPlace(index).subtreeEnd));
}

/// @return the entity's index. Fails when nothing can be changed in it.
uint32_t EditedMail::CheckEntity(const Entity& entity) const {
    if (entity.tree_ != tree_) Fail(ErrorCode::notInMail);
    if (entity.IsUuencoded()) {
        Fail(ErrorCode::cannotEdit, "is a file in the lines of a text, which can be replaced");
    }
    if (!entity.IsInSource()) {
        Fail(ErrorCode::cannotEdit, "lies in a message that is in a transfer encoding");
    }
    for (uint32_t i = entity.index_; i != EntityPlace::kNone; i = GetPlace(i).parent) {
        const auto change = changes_.find(i);
        if (change != changes_.end() && change->second.IsGone()) {
            Fail(ErrorCode::cannotEdit, "was removed or replaced before");
        }
    }
    return entity.index_;
}

/// Has the entity no children with that type either? @param type  empty for none.
bool EditedMail::IsLeafType(const Entity& entity, std::string_view type) {
    if (entity.HasChildren()) return false;
    if (type.empty()) {  // RFC 2046, 5.1.5
        const std::optional<Entity> parent = entity.GetParent();
        return !parent || !parent->IsType("multipart/digest");
    }
    const std::string value = ReadParameterList("Content-Type", type).value;
    return !KivGuiBase::StartsWithCaseless(value, "multipart/") &&
           !EqualsCaseless(value, "message/rfc822") && !EqualsCaseless(value, "message/global");
}

HeaderEdit& EditedMail::EditHeader(uint32_t index) {
    std::optional<HeaderEdit>& header = changes_[index].header;
    if (!header) header.emplace(*tree_, index, lineEnd_);
    return *header;
}

void EditedMail::ChangeField(const Entity& entity, FieldChange change, std::string_view name,
                             std::string_view value) {
    const uint32_t index = CheckEntity(entity);
    CheckFieldName(name);
    const bool isType = EqualsCaseless(name, "Content-Type");
    if (EqualsCaseless(name, "Content-Transfer-Encoding") ||
        (isType && (change == FieldChange::add || !IsLeafType(entity, value)))) {
        Fail(ErrorCode::cannotEdit, std::string(name) + ": says how the body is to be read");
    }
    const std::string field =
        change == FieldChange::remove ? "" : WriteField(name, value, lineEnd_);
    HeaderEdit& header = EditHeader(index);
    if (change == FieldChange::add) header.Add(name, field);
    if (change == FieldChange::set) header.Set(name, field);
    if (change == FieldChange::remove) header.Remove(name);
    if (isType) changes_[index].hasNewType = true;
    if (index == 0) changedFields_.emplace_back(name);
}

const Draft& EditedMail::GetDraft(const NewPart& part) {
    if (part.draft_ == nullptr) throw WriteFailure{part.error_};
    return *part.draft_;
}

void EditedMail::Replace(const Entity& entity, const NewPart& part) {
    const uint32_t index = CheckEntity(entity);
    if (index == 0 ? tree_->hasContentType : GetPlace(GetPlace(index).parent).isMessage) {
        Fail(ErrorCode::cannotEdit, "is a message that cannot be replaced");
    }
    const Draft& draft = GetDraft(part);
    ForgetInside(index);
    Change& change = changes_[index];
    change.footer.clear();
    change.added.clear();
    change.attached.clear();
    change.replacement = draft;
}

void EditedMail::Remove(const Entity& entity) {
    const uint32_t index = CheckEntity(entity);
    if (index == 0) Fail(ErrorCode::cannotEdit, "the mail itself cannot be removed");
    if (GetPlace(GetPlace(index).parent).isMessage) {
        Fail(ErrorCode::cannotEdit, "is carried by a part, which can be removed instead");
    }
    ForgetInside(index);
    changes_[index].isRemoved = true;
}

void EditedMail::Add(const Entity& multipart, const NewPart& part) {
    const uint32_t index = CheckEntity(multipart);
    if (!multipart.HasChildren() || GetPlace(index).isMessage) {
        Fail(ErrorCode::cannotEdit, "is no multipart with parts");
    }
    changes_[index].added.push_back(GetDraft(part));
}

void EditedMail::Attach(const NewPart& part) {
    CheckEntity(top_);
    if (tree_->hasContentType) {
        Fail(ErrorCode::cannotEdit,
             "nothing can be attached to a mail whose Content-Type is not in it");
    }
    changes_[0].attached.push_back(GetDraft(part));
}

void EditedMail::AppendText(const Entity& entity, std::string_view text) {
    const uint32_t index = CheckEntity(entity);
    if (entity.HasChildren() || !entity.IsType("text/*")) {
        Fail(ErrorCode::cannotEdit, "is not a text");
    }
    // What cannot be written so fails here.
    static_cast<void>(
        MakeFooter(entity, {GetPlace(index).encoding, lineEnd_, GetBoundaries(index)}, text));
    std::string& footer = changes_[index].footer;
    footer += text;
    if (!footer.ends_with('\n')) footer += '\n';
}

/// Is it part of the text of the mail, in one form of it?
bool EditedMail::IsOwnText(const Entity& entity) const {
    const bool isText = entity.IsType("text/plain") || entity.IsType("text/html");
    if (!isText || entity.HasChildren() || entity.IsAttachment() || !entity.IsInSource())
        return false;
    for (uint32_t i = entity.index_; i != EntityPlace::kNone; i = GetPlace(i).parent) {
        const auto change = changes_.find(i);
        if (change != changes_.end() && change->second.IsGone()) return false;
        if (GetPlace(i).isMessage) return false;
    }
    return true;
}

void EditedMail::AddFooter(std::string_view text) {
    bool hasText = false;
    for (const Entity& entity : top_.GetEntities()) {
        if (!IsOwnText(entity)) continue;
        AppendText(entity, text);
        hasText = true;
    }
    if (!hasText) Fail(ErrorCode::cannotEdit, "the mail has no text");
}

}  // namespace MIME
