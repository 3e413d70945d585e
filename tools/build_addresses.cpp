#include "build_addresses.h"

#include <algorithm>
#include <string_view>

#include <mime/mime.h>

#include "build_header_text.h"
#include "failure.h"
#include "kivgui/ascii.h"
#include "kivgui/quoted_string.h"

namespace Tool {

using MIME::AnsiStr;
using MIME::MailboxParser;

namespace {

/// Takes the first entry off a list, and the comma behind it. It ends where it ends for
/// MailboxParser: at a comma outside of quotes and angle brackets, and quotes in the middle of
/// bare words are none.
std::string_view TakeEntry(std::string_view& rest) {
    size_t at = 0;
    while (at < rest.size() && rest[at] != ',') {
        if (rest[at] == '"') {
            at += KivGuiBase::ScanQuotedString(rest.substr(at)).length;
        } else if (rest[at] == '<') {
            at = std::min(rest.find('>', at), rest.size() - 1) + 1;
        } else if (KivGuiBase::IsSpaceAscii(rest[at])) {
            ++at;
        } else {
            at = std::min(rest.find_first_of(",<", at), rest.size());
        }
    }
    const std::string_view entry = rest.substr(0, at);
    rest.remove_prefix(std::min(at + 1, rest.size()));
    return KivGuiBase::TrimSpace(entry);
}

bool IsVisible(char c) {
    return c > ' ' && c <= '~';
}

/// dot-atom-text (RFC 5322, 3.2.3).
bool IsDotAtom(std::string_view text) {
    constexpr std::string_view kNoAtom = "()<>[]:;@\\,\"";
    if (text.empty() || text.front() == '.' || text.back() == '.') return false;
    if (text.find("..") != std::string_view::npos) return false;
    return std::all_of(text.begin(), text.end(), [&](char c) {
        return IsVisible(c) && kNoAtom.find(c) == std::string_view::npos;
    });
}

/// A quoted-string as a local part, without white space.
bool IsQuoted(std::string_view text) {
    if (!text.starts_with('"')) return false;
    const KivGuiBase::QuotedString quoted = KivGuiBase::ScanQuotedString(text);
    return quoted.isClosed && quoted.length == text.size() && !quoted.inside.empty() &&
           std::all_of(text.begin(), text.end(), IsVisible);
}

bool IsDomainLiteral(std::string_view text) {
    if (text.size() < 3 || text.front() != '[' || text.back() != ']') return false;
    text = text.substr(1, text.size() - 2);
    return text.find_first_of("[]\\") == std::string_view::npos &&
           std::all_of(text.begin(), text.end(), IsVisible);
}

bool IsAddress(std::string_view text) {
    constexpr size_t kMaxAddress = 320;  // RFC 5321, 4.5.3.1: a local part of 64, a domain of 255
    const size_t at = text.rfind('@');
    if (at == std::string_view::npos || text.size() > kMaxAddress) return false;
    const std::string_view local = text.substr(0, at);
    const std::string_view domain = text.substr(at + 1);
    return (IsDotAtom(local) || IsQuoted(local)) && (IsDotAtom(domain) || IsDomainLiteral(domain));
}

/// What is wrong with an entry; empty when nothing is.
std::string FindFault(std::string_view entry) {
    MailboxParser mailbox{AnsiStr(entry)};
    if (!mailbox.ToNext()) return mailbox.IsMalformed() ? "is malformed" : "has no address";
    if (!IsAddress(mailbox.address)) return "has no valid address";
    if (!IsUtf8(mailbox.name)) return "is not UTF-8";
    if (HasControls(mailbox.name)) return "has control characters in its name";
    if (HasOverlongWord(mailbox.name)) return "has a name that is too long";
    return {};
}

}  // namespace

std::string JoinAddresses(const std::string& option, const std::vector<std::string>& lists) {
    std::string value;
    for (std::string_view rest : lists) {
        while (!rest.empty()) {
            const std::string_view entry = TakeEntry(rest);
            if (entry.empty()) continue;
            const std::string fault = FindFault(entry);
            if (!fault.empty()) throw Failure(option, "\"" + std::string(entry) + "\" " + fault);
            if (!value.empty()) value += ", ";
            value += entry;
        }
    }
    return value;
}

std::string GetSenderDomain(const std::string& option, const std::string& value) {
    MailboxParser sender{AnsiStr(value)};
    if (!sender.ToNext()) throw Failure(option, "an address is needed");
    const std::string address(std::string_view(sender.address));
    if (sender.ToNext()) throw Failure(option, "one address only");
    return address.substr(address.rfind('@') + 1);
}

}  // namespace Tool
