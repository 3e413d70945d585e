#include "build_fields.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <new>

#include "kivgui/ascii.h"
#include "kivgui/convert.h"
#include "kivgui/quoted_string.h"
#include "kivgui/random.h"
#include "kivgui/utf8.h"
#include "output.h"

// The library writes any value so that it cannot end its field, but a message that people get has
// to say just what was meant. So values are checked here against the strict grammar of RFC 5322,
// without its obsolete forms, before anything is written; a recipient, a date or an identifier
// that some program might read differently is an error, never a guess.

namespace Tool {

using MIME::AnsiStr;
using MIME::MailboxParser;

// ------------------------------------------------------------------------------------ texts --

bool HasControls(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; });
}

bool HasOverlongWord(std::string_view text) {
    constexpr size_t kMaxWord = 900;  // leaves room for the field's name in a line of 998
    while (text.size() > kMaxWord) {
        const size_t end = std::min(text.find(' '), text.size());
        if (end > kMaxWord) return true;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return false;
}

AnsiStr MakeUnstructured(const std::string& option, const std::string& text) {
    if (!KivGuiBase::IsUtf8(text)) throw Failure(option, "is not UTF-8");
    const bool isBare = !HasControls(text) && !text.starts_with(' ') && !text.ends_with(' ') &&
                        !HasOverlongWord(text) && text.find("=?") == std::string::npos;
    return MIME::Encoding::QEncode(AnsiStr(text), !isBare);
}

MIME::HeaderValue& GetField(MIME::Part& part, const char* name) {
    MIME::HeaderMap::Node* field = part.headers.FindOrInsert(name);
    if (field == nullptr) throw std::bad_alloc();
    return field->value;
}

void SetParameter(MIME::HeaderValue& field, const char* name, const std::string& value) {
    constexpr size_t kMaxQuoted = 60;  // with the parameter's name it fits a line in any case
    const AnsiStr text(value);
    const bool isQuoted = value.size() <= kMaxQuoted && MIME::Encoding::IsAtom(text) &&
                          value.find_first_of("/?'*%") != std::string::npos;
    MIME::ParameterMap::Node* parameter = field.parameters.FindOrInsert(name);
    if (parameter == nullptr) throw std::bad_alloc();
    parameter->value = {isQuoted ? MIME::Encoding::Quote(text) : text, isQuoted};
}

// -------------------------------------------------------------------------------- addresses --

namespace {

/// Takes the first entry and its comma off a list. An entry ends where it ends for MailboxParser:
/// at a comma outside quoted-strings and angle brackets. A quote in the middle of a bare word
/// begins no quoted-string.
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
    if (!KivGuiBase::IsUtf8(mailbox.name)) return "is not UTF-8";
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

// ----------------------------------------------------------------------- dates, identifiers --

namespace {

uint64_t fixedState = 0;

/// One byte of each number. For tests only; the bytes are not secret.
void FillFromSeed(void* buffer, size_t size) {
    auto* bytes = static_cast<unsigned char*>(buffer);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<unsigned char>(KivGuiBase::SplitMix64(fixedState) >> 56);
    }
}

constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// Compares a text with a pattern, in which "9" stands for a digit, "a" for any character, "+" for
/// a sign, and everything else for itself.
bool HasForm(std::string_view text, std::string_view form) {
    return std::equal(text.begin(), text.end(), form.begin(), form.end(), [](char c, char wanted) {
        if (wanted == '9') return KivGuiBase::IsDigitAscii(c);
        if (wanted == '+') return c == '+' || c == '-';
        return wanted == 'a' || c == wanted;
    });
}

template <size_t kCount>
bool IsOneOf(std::string_view name, const char* const (&names)[kCount]) {
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

/// RFC 5322, 3.3, without comments and obsolete forms.
bool IsDate(const std::string& date) {
    constexpr std::string_view kForm = "aaa, 99 aaa 9999 99:99:99 +9999";
    std::string text = date;
    if (text.size() + 1 == kForm.size()) text.insert(5, "0");  // a day of one digit
    if (!HasForm(text, kForm)) return false;
    const auto number = [&text](size_t at) { return std::stoi(text.substr(at, 2)); };
    return IsOneOf(text.substr(0, 3), kDays) && IsOneOf(text.substr(8, 3), kMonths) &&
           number(5) <= 31 && number(17) <= 23 && number(20) <= 59 && number(23) <= 60;
}

/// One of the two parts of a message's identifier, around the "@".
bool IsIdText(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return c >= '!' && c <= '~' && c != '<' && c != '>' && c != '@';
    });
}

bool IsMessageId(std::string_view id) {
    if (!id.starts_with('<') || !id.ends_with('>')) return false;
    const size_t at = id.find('@');
    return at != std::string_view::npos && IsIdText(id.substr(1, at - 1)) &&
           IsIdText(id.substr(at + 1, id.size() - at - 2));
}

}  // namespace

FixedRandomness::FixedRandomness(const std::optional<uint64_t>& seed) {
    if (!seed) return;
    fixedState = *seed;
    KivGuiBase::SetRandomSource(FillFromSeed);
}

FixedRandomness::~FixedRandomness() {
    KivGuiBase::SetRandomSource(nullptr);
}

int64_t GetSecondsNow() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

std::string FormatDate(int64_t seconds) {
    using namespace std::chrono;
    const sys_seconds time{std::chrono::seconds(seconds)};
    const sys_days day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    char text[64];
    std::snprintf(text, sizeof text, "%s, %02u %s %04d %02d:%02d:%02d +0000",
                  kDays[weekday(day).c_encoding()], static_cast<unsigned>(date.day()),
                  kMonths[static_cast<unsigned>(date.month()) - 1], static_cast<int>(date.year()),
                  static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text;
}

void CheckDate(const std::string& option, const std::string& date) {
    if (!IsDate(date)) {
        throw Failure(option, "\"" + date + "\" is not like \"Thu, 09 Jul 2026 11:21:09 +0200\"");
    }
}

std::string MakeMessageId(const std::string& domain) {
    unsigned char random[16];
    if (!KivGuiBase::GetUnpredictableBytes(random, sizeof random)) {
        throw Failure("random numbers", GetLastReason());
    }
    return "<" + ToString(KivGuiBase::Binary2B16Str(random, sizeof random, 0, "")) + "@" + domain +
           ">";
}

void CheckMessageId(const std::string& option, const std::string& id) {
    constexpr size_t kMaxId = 900;  // one word, which cannot be folded
    if (id.size() > kMaxId || !IsMessageId(id)) {
        throw Failure(option, "\"" + id + "\" is not like \"<left@right>\"");
    }
}

}  // namespace Tool
