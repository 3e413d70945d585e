#include <algorithm>

#include "mime/writing/edited_mail.h"
#include "mime/writing/field_text.h"
#include "mime/writing/outline.h"

// Where a mail is damaged, lines that meant nothing may mean something once others have changed: a boundary line
// at the end of the text is none for a part, but in front of an attachment it is; and where two
// multiparts have the same boundary, its lines count for another one. So what an edit makes is read, as an
// outline, before anything is written. Each entity that stays must be found in its place, with the bytes that
// it had, and each new one, and no other.

namespace MIME {

/// What WriteComposed writes. A signature is stood in for by another part.
Outline EditedMail::MakeOutline(const Composed& composed) const {
    Outline outline(*tree_);
    if (signer_) {
        outline.Put(NewText(composed.outer + "Content-Type: multipart/signed; boundary=\"" +
                            composed.boundary + "\"\r\n\r\n--" + composed.boundary + "\r\n"));
    } else if (TakesTopApart()) {
        outline.Copy(0, GetPlace(0).fields);
        outline.Put(NewText(GetEndBefore(GetPlace(0).fields) + composed.outer +
                            WriteField("MIME-Version", "1.0", lineEnd_)));
    }
    for (const NewText& added : composed.inner) outline.Put(added);
    composed.text.WriteOutline(composed.rest, outline);
    if (signer_) {
        outline.Put(NewText("\r\n--" + composed.boundary + "\r\n"));
        outline.Put(NewText("\r\n-", NewText::Role::part));
        outline.Put(NewText("\r\n--" + composed.boundary + "--\r\n"));
    }
    return outline;
}

/// What is wanted of the mail itself and all inside it, in the order of the text.
void EditedMail::FindWantedInside(size_t depth, std::vector<Wanted>& wanted) const {
    std::vector<uint32_t> open;
    const auto closeBefore = [&](uint32_t index) {
        for (; !open.empty() && GetPlace(open.back()).subtreeEnd <= index; open.pop_back()) {
            size_t count = GetAdded(open.back()).size();
            if (count > 0 && !KeepsChildren(open.back())) --count;
            wanted.insert(wanted.end(), count, {Wanted::Kind::part, depth + open.size()});
        }
    };
    const auto count = static_cast<uint32_t>(tree_->places.size());
    for (uint32_t i = 0; i < count;) {
        closeBefore(i);
        const auto change = changes_.find(i);
        if (change == changes_.end() || !change->second.IsGone()) {
            wanted.push_back({Wanted::Kind::kept, depth + open.size(), i});
            open.push_back(i++);
            continue;
        }
        const bool isWhole = i == 0 && !signer_;
        const bool isLeftOut =
            change->second.isRemoved && (i != open.back() + 1 || KeepsChildren(open.back()));
        if (!isLeftOut) {
            wanted.push_back(
                {isWhole ? Wanted::Kind::around : Wanted::Kind::part, depth + open.size()});
        }
        i = GetPlace(i).subtreeEnd;
    }
    closeBefore(count);
}

std::vector<EditedMail::Wanted> EditedMail::FindWanted() const {
    std::vector<Wanted> wanted;
    size_t depth = 0;
    if (signer_) wanted.push_back({Wanted::Kind::around, depth++});
    if (form_.isWrapped) wanted.push_back({Wanted::Kind::around, depth++});
    FindWantedInside(depth, wanted);
    if (form_.isWrapped) {
        wanted.insert(wanted.end(), changes_.at(0).attached.size(), {Wanted::Kind::part, depth});
    }
    if (signer_) wanted.push_back({Wanted::Kind::part, 1});
    return wanted;
}

/// Is an entity of the source where it has to be?
bool EditedMail::IsKept(const EntityPlace& now, uint32_t index, const Outline& outline) const {
    const EntityPlace& before = GetPlace(index);
    const auto change = changes_.find(index);
    const bool hasFooter = change != changes_.end() && !change->second.footer.empty();
    if (now.isMessage != before.isMessage) return false;
    if (now.encoding != before.encoding && !hasFooter) return false;
    // Of a decoded message nothing has changed.
    if (before.text != 0) {
        return now.text != 0 && now.body == before.body && now.end == before.end;
    }
    const bool isTakenApart = index == 0 && TakesTopApart();
    return now.text == 0 && (isTakenApart || outline.IsAt(now.begin, before.begin)) &&
           outline.IsAt(now.body, before.body) && outline.IsAt(now.end, before.end);
}

/// Does the mail read as the changes say?
bool EditedMail::ReadsAsMeant(const Composed& composed) const {
    const Outline outline = MakeOutline(composed);
    MailOptions options;
    options.limits = ReadOptions();
    if (tree_->hasContentType && !signer_) {
        options.contentType = std::string(std::string_view(tree_->contentType));
    }
    const Result<Mail> mail = Mail::Parse(std::string_view(outline.GetText()), options);
    if (!mail) return false;
    const std::vector<EntityPlace>& places = mail->GetTop().tree_->places;
    std::vector<size_t> depths(places.size());
    auto added = outline.GetAdded().begin();
    const auto end = outline.GetAdded().end();
    uint32_t i = 0;
    for (const Wanted& wanted : FindWanted()) {
        if (i == places.size()) return false;
        const EntityPlace& now = places[i];
        if (now.parent != EntityPlace::kNone) depths[i] = depths[now.parent] + 1;
        if (depths[i++] != wanted.depth) return false;
        if (wanted.kind == Wanted::Kind::part) {
            if (added == end || added->role != NewText::Role::part) return false;
            if (now.begin != added->begin || now.end != added->end) return false;
            ++added;
        } else if (wanted.kind == Wanted::Kind::kept) {
            if (!IsKept(now, wanted.index, outline)) return false;
            for (; added != end && added->owner == wanted.index; ++added) {
                const bool isHeader = added->role == NewText::Role::header;
                if (added->begin < (isHeader ? now.begin : now.body)) return false;
                if (added->end > (isHeader ? now.body : now.end)) return false;
            }
        }
    }
    return i == places.size() && added == end;
}

}  // namespace MIME
