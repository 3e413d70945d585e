#include <algorithm>

#include "kivgui/ascii.h"
#include "kivgui/quoted_string.h"
#include "kivgui/utf8.h"
#include "mime/mail/address_text.h"
#include "mime/writing/encoded_words.h"
#include "mime/writing/field_lines.h"
#include "mime/writing/field_text.h"

// A recipient that some program might read differently is an error, never a guess: addresses have the
// strict grammar, and names a form that every program reads. An address is never folded, and a mailbox
// only where it is longer than a line.

namespace MIME {

using KivGuiBase::IsAsciiText;

namespace {

bool IsVisible(char c) noexcept {
    return c > ' ' && c <= '~';
}

/// dot-atom-text (RFC 5322, 3.2.3).
bool IsDotAtom(std::string_view text) noexcept {
    return !text.empty() && text.front() != '.' && text.back() != '.' &&
           text.find("..") == std::string_view::npos && std::ranges::all_of(text, [](char c) {
               return IsVisible(c) && (c == '.' || IsAddressAtomByte(c));
           });
}

/// A quoted-string as a local part.
bool IsQuoted(std::string_view text) noexcept {
    if (!text.starts_with('"')) return false;
    const KivGuiBase::QuotedString quoted = KivGuiBase::ScanQuotedString(text);
    return quoted.isClosed && quoted.length == text.size() && !quoted.inside.empty() &&
           std::ranges::all_of(text, [](char c) { return c == ' ' || IsVisible(c); });
}

bool IsDomainLiteral(std::string_view text) noexcept {
    if (text.size() < 3 || text.front() != '[' || text.back() != ']') return false;
    text = text.substr(1, text.size() - 2);
    return text.find_first_of("[]\\") == std::string_view::npos &&
           std::ranges::all_of(text, IsVisible);
}

/// What is wrong with an address; empty when nothing is.
std::string_view FindFault(std::string_view address) noexcept {
    constexpr size_t kMaxAddress = 320;  // RFC 5321, 4.5.3.1: a local part of 64, a domain of 255
    constexpr std::string_view kNone = "is not a mail address";
    if (HasControls(address) || !KivGuiBase::IsUtf8(address)) return kNone;
    const size_t at = address.rfind('@');
    if (at == std::string_view::npos) return kNone;
    const std::string_view local = address.substr(0, at);
    const std::string_view domain = address.substr(at + 1);
    if (!IsAsciiText(domain))
        return "has a domain outside ASCII, which is to be written as \"xn--\"";
    if (!IsAsciiText(local)) return "has characters outside ASCII in front of its \"@\"";
    if (address.size() > kMaxAddress) return "is too long for a mail address";
    // Some programs decode encoded words even in an address.
    if (address.find("=?") != std::string_view::npos) return kNone;
    const bool isAddress =
        (IsDotAtom(local) || IsQuoted(local)) && (IsDotAtom(domain) || IsDomainLiteral(domain));
    return isAddress ? std::string_view() : kNone;
}

/// A display name as words: encoded words, or else atoms or a quoted-string, which are not folded,
/// because some programs leave the line end in the name.
/// @param name  not empty. @param room  characters for the first one.
std::vector<std::string> MakePhrase(std::string_view name, size_t room) {
    constexpr size_t kMaxPhrase = 60;
    std::string phrase = WritePhrase(name);
    const bool isPlain = IsAsciiText(name) && name.find("=?") == std::string_view::npos;
    if (isPlain && phrase.size() <= kMaxPhrase) return {std::move(phrase)};
    return MakeEncodedWords(name, room, FieldLines::GetFullRoom());
}

void AddMailbox(FieldLines& lines, const Mailbox& mailbox, bool isLast) {
    const size_t room = lines.IsEmpty() ? lines.GetRoom() : FieldLines::GetFullRoom();
    const std::string_view name = KivGuiBase::TrimSpace(mailbox.name);
    std::vector<std::string> words;
    if (!name.empty()) words = MakePhrase(name, room);
    words.push_back(name.empty() ? mailbox.address : "<" + mailbox.address + ">");
    if (!isLast) words.back() += ',';
    size_t size = words.size() - 1;
    for (const std::string& word : words) size += word.size();
    if (size > lines.GetRoom()) lines.Break();
    for (const std::string& word : words) lines.Add(word);
}

}  // namespace

void CheckMailbox(std::string_view field, const Mailbox& mailbox) {
    const std::string_view fault = FindFault(mailbox.address);
    if (!fault.empty()) FailField(ErrorCode::badAddress, field, mailbox.address, fault);
    const std::string& name = mailbox.name;
    if (HasControls(name) || name.find('\t') != std::string::npos) {
        FailField(ErrorCode::badAddress, field, name, "is a name with control characters");
    }
    if (!KivGuiBase::IsUtf8(name)) {
        FailField(ErrorCode::badAddress, field, name, "is a name that is not UTF-8");
    }
}

std::string WriteMailboxField(std::string_view name, std::span<const Mailbox> mailboxes,
                              std::string_view lineEnd) {
    FieldLines lines(name, lineEnd);
    if (mailboxes.empty()) FailField(ErrorCode::badAddress, name, "has no address");
    const bool isOne = KivGuiBase::EqualsCaseless(name, "Sender") ||
                       KivGuiBase::EqualsCaseless(name, "Resent-Sender");
    if (isOne && mailboxes.size() > 1) {
        FailField(ErrorCode::badAddress, name, "has more than one address");
    }
    for (const Mailbox& mailbox : mailboxes) {
        CheckMailbox(name, mailbox);
        AddMailbox(lines, mailbox, &mailbox == &mailboxes.back());
    }
    return lines.Finish();
}

}  // namespace MIME
