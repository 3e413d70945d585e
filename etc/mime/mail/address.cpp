#include "mime/mail/address.h"

#include <algorithm>

#include "kivgui/quoted_string.h"
#include "mime/mail/address_text.h"

namespace MIME {

const std::string& Address::GetGroup() const noexcept {
    static const std::string none;
    return group_ != nullptr ? *group_ : none;
}

namespace {

/// Can an address be read without brackets? Not when it has no domain, or could begin an encoded word
/// that ends in another address.
bool IsBare(std::string_view address) noexcept {
    if (address.find("=?") != std::string_view::npos) return false;
    const bool isQuoted = address.starts_with('"');
    const size_t words = isQuoted ? KivGuiBase::ScanQuotedString(address).length : 0;
    return address.find('@', words) != std::string_view::npos;
}

}  // namespace

std::string Address::GetStr() const {
    if (name_.empty() && IsBare(address_)) return address_;
    std::string text = name_.empty() ? std::string() : WritePhrase(name_) + ' ';
    return text.append("<").append(address_).append(">");
}

bool operator==(const Address& a, const Address& b) noexcept {
    return a.name_ == b.name_ && a.address_ == b.address_ && a.GetGroup() == b.GetGroup();
}

std::ostream& operator<<(std::ostream& out, const Address& address) {
    return out << address.GetStr();
}

std::vector<std::string> AddressList::GetGroups() const {
    std::vector<std::string> names;
    names.reserve(groups_.size());
    for (const Group& group : groups_) names.push_back(*group.name);
    return names;
}

std::string AddressList::GetStr() const {
    std::string text;
    const auto separate = [&text] {
        if (!text.empty() && !text.ends_with(": ")) text += ", ";
    };
    const auto appendAll = [&](size_t first, size_t end) {
        for (size_t i = first; i < end; ++i) {
            separate();
            text += addresses_[i].GetStr();
        }
    };
    size_t done = 0;
    for (const Group& group : groups_) {
        appendAll(done, group.first);
        separate();
        text += WritePhrase(*group.name) + ": ";
        appendAll(group.first, group.end);
        if (group.first == group.end) text.pop_back();
        text += ';';
        done = group.end;
    }
    appendAll(done, addresses_.size());
    return text;
}

bool operator==(const AddressList& a, const AddressList& b) noexcept {
    const auto isSameGroup = [](const AddressList::Group& one, const AddressList::Group& other) {
        return *one.name == *other.name && one.first == other.first && one.end == other.end;
    };
    return a.addresses_ == b.addresses_ &&
           std::equal(a.groups_.begin(), a.groups_.end(), b.groups_.begin(), b.groups_.end(),
                      isSameGroup);
}

std::ostream& operator<<(std::ostream& out, const AddressList& list) {
    return out << list.GetStr();
}

}  // namespace MIME
