#include <algorithm>

#include "kivgui/ascii.h"
#include "mime/writing/edited_mail.h"

// Which signatures an edit breaks. One of multipart/signed covers its first child, and is its second (RFC
// 1847, 2.1); so a change inside either breaks it. One of DKIM covers the body of the mail and the fields
// that its tag "h" names (RFC 6376, 3.5).

namespace MIME {

using KivGuiBase::EqualsCaseless;

namespace {

/// Removes all white space, which means nothing in tags.
std::string Squeeze(std::string_view text) {
    std::string squeezed(text);
    std::erase_if(squeezed, [](char c) { return KivGuiBase::IsSpaceAscii(c); });
    return squeezed;
}

/// The value of a tag: "d" of "v=1; d=example.org; ..." (RFC 6376, 3.2).
std::string_view FindTag(std::string_view tags, std::string_view name) {
    while (!tags.empty()) {
        const std::string_view tag = tags.substr(0, tags.find(';'));
        const size_t equals = tag.find('=');
        if (tag.substr(0, equals) == name && equals != std::string_view::npos) {
            return tag.substr(equals + 1);
        }
        tags.remove_prefix(std::min(tag.size() + 1, tags.size()));
    }
    return {};
}

/// Is the name in a list with colons?
bool HasName(std::string_view list, std::string_view name) {
    while (!list.empty()) {
        const std::string_view entry = list.substr(0, list.find(':'));
        if (EqualsCaseless(entry, name)) return true;
        list.remove_prefix(std::min(entry.size() + 1, list.size()));
    }
    return false;
}

BrokenSignature::Kind GetKind(std::string_view protocol) {
    if (EqualsCaseless(protocol, "application/pkcs7-signature") ||
        EqualsCaseless(protocol, "application/x-pkcs7-signature")) {
        return BrokenSignature::Kind::smime;
    }
    return EqualsCaseless(protocol, "application/pgp-signature") ? BrokenSignature::Kind::openPgp
                                                                 : BrokenSignature::Kind::other;
}

}  // namespace

bool EditedMail::ChangesBody() const {
    return std::any_of(changes_.begin(), changes_.end(), [](const auto& entry) {
        return entry.first != 0 || entry.second.ChangesBody();
    });
}

/// Has something inside the multipart changed, and the multipart itself is still there?
bool EditedMail::IsInBrokenPart(uint32_t multipart) const {
    const auto first = changes_.upper_bound(multipart);
    const bool isChanged = first != changes_.end() && first->first < GetPlace(multipart).subtreeEnd;
    const auto own = changes_.find(multipart);
    const bool isAddedTo = own != changes_.end() && !own->second.added.empty();
    for (uint32_t i = multipart; i != EntityPlace::kNone; i = GetPlace(i).parent) {
        const auto change = changes_.find(i);
        if (change != changes_.end() && change->second.IsGone()) return false;
    }
    return isChanged || isAddedTo;
}

void EditedMail::FindBrokenParts(std::vector<BrokenSignature>& broken) const {
    for (const Entity& entity : top_.GetEntities()) {
        if (!entity.IsInSource() || !entity.IsType("multipart/signed")) continue;
        if (!IsInBrokenPart(entity.index_)) continue;
        broken.push_back(
            {GetKind(entity.GetParameter("Content-Type", "protocol")), entity.GetPath()});
    }
}

void EditedMail::FindBrokenFields(std::vector<BrokenSignature>& broken) const {
    const bool isTakenApart = TakesTopApart() || ChangesBody();
    for (const Field& field : top_.GetFields()) {
        if (!EqualsCaseless(field.name, "DKIM-Signature")) continue;
        const std::string tags = Squeeze(field.raw);
        const std::string_view names = FindTag(tags, "h");
        const bool isChanged =
            std::any_of(changedFields_.begin(), changedFields_.end(),
                        [names](const std::string& name) { return HasName(names, name); });
        if (!isTakenApart && !isChanged) continue;
        broken.push_back({BrokenSignature::Kind::dkim, std::string(FindTag(tags, "d"))});
    }
}

std::vector<BrokenSignature> EditedMail::FindBrokenSignatures() const {
    std::vector<BrokenSignature> broken;
    FindBrokenParts(broken);
    FindBrokenFields(broken);
    return broken;
}

}  // namespace MIME
