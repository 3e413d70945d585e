#include <algorithm>

#include "kivgui/ascii.h"
#include "kivgui/quoted_string.h"
#include "kivgui/text_builder.h"
#include "mime/foundation/guarded.h"
#include "mime/mime.h"

// Takes entries off the front of an address list. An entry has at most one name and one address; a
// second one, or text after an address, makes it malformed, and then the walk ends: what follows
// cannot be trusted. Departures from RFC 5322, 3.4: comments, groups and domain literals are not
// parsed but belong to a bare address, and inside angle brackets no quoting is known.

namespace MIME {

using KivGuiBase::Growth;
using KivGuiBase::TextBuilder;

bool MailboxParser::ToNext() noexcept {
    const KivGuiBase::MemoryWatch watch;
    const bool isFound = Guarded(false, [this] {
        while (!rest_.empty()) {
            address = AnsiStr();
            name = AnsiStr();
            isMalformed_ = !ParseEntry();
            if (isMalformed_) return false;
            if (!address.IsEmpty()) return true;
            // An entry without an address, such as one between two commas, is passed over.
        }
        return false;
    });
    if (watch.HasFailed()) {
        isMalformed_ = true;
        rest_ = {};
    }
    return isFound;
}

/// Reads up to the end of the text, or past the comma that ends the mailbox.
bool MailboxParser::ParseEntry() noexcept {
    for (;;) {
        while (!rest_.empty() && KivGuiBase::IsSpaceAscii(rest_.front())) rest_.remove_prefix(1);
        if (rest_.empty()) return true;
        switch (rest_.front()) {
            case ',':
                rest_.remove_prefix(1);
                return true;
            case '"':
                if (!ParseName()) return false;
                break;
            case '<':
                if (!ParseAddress()) return false;
                break;
            default:
                if (!ParseUnknown()) return false;
        }
    }
}

bool MailboxParser::ParseName() noexcept {
    constexpr unsigned kUsualName = 64;
    if (!name.IsEmpty() || name.Alloc(kUsualName) == nullptr) return false;
    const KivGuiBase::QuotedString quoted = KivGuiBase::ScanQuotedString(rest_);
    KivGuiBase::ForEachUnescaped(quoted.inside, [this](char c) { name.Append(c, Growth::spare); });
    rest_.remove_prefix(quoted.length);
    return quoted.isClosed;
}

bool MailboxParser::ParseAddress() noexcept {
    if (!address.IsEmpty()) return false;
    const size_t close = rest_.find('>');
    if (close == std::string_view::npos) return false;
    address = rest_.substr(1, close - 1);
    rest_.remove_prefix(close + 1);
    return true;
}

bool MailboxParser::ParseUnknown() noexcept {
    if (!name.IsEmpty() || !address.IsEmpty()) return false;
    const size_t length = std::min(rest_.find_first_of(",<"), rest_.size());
    const std::string_view text = KivGuiBase::TrimSpace(rest_.substr(0, length));
    rest_.remove_prefix(length);
    (rest_.starts_with('<') ? name : address) = text;
    return true;
}

AnsiStr MailboxParser::GetMailbox() const noexcept {
    if (name.IsEmpty()) return address;
    return Guarded(AnsiStr(), [this] {
        AnsiStr display = name;
        if (!Encoding::IsAtom(name)) {
            display = Encoding::QEncode(name, false);
            if (display == name) display = Encoding::Quote(name);
        }
        TextBuilder mailbox;
        mailbox.Append(display);
        mailbox.Append(" <");
        mailbox.Append(address);
        mailbox.Append('>');
        return mailbox.Finish();
    });
}

}  // namespace MIME
