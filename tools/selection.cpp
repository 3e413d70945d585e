#include "selection.h"

#include <algorithm>

#include "kivgui/ascii.h"
#include "kivgui/utf8.h"
#include "message.h"

namespace Tool {

namespace {

using KivGuiBase::ToLowerAscii;

bool EqualCaseless(char a, char b) {
    return ToLowerAscii(a) == ToLowerAscii(b);
}

bool Contains(std::string_view text, std::string_view wanted) {
    return std::search(text.begin(), text.end(), wanted.begin(), wanted.end(), EqualCaseless) !=
           text.end();
}

bool HasAddress(const MIME::AddressList& list, std::string_view wanted) {
    return std::any_of(list.begin(), list.end(), [wanted](const MIME::Address& address) {
        return Contains(address.GetStr(), wanted) || Contains(address.GetName(), wanted);
    });
}

bool HasAttachment(const MIME::Mail& mail, std::string_view pattern) {
    const auto attachments = ListAttachments(mail);
    if (pattern == "*") return !attachments.empty();
    return std::any_of(attachments.begin(), attachments.end(), [pattern](const auto& entity) {
        return MatchesPattern(entity.GetFileName(), pattern);
    });
}

/// "2026-05-20"; a day that is none, too.
std::optional<std::chrono::year_month_day> ReadDay(std::string_view text) {
    constexpr std::string_view kForm = "dddd-dd-dd";
    int numbers[3] = {};
    size_t number = 0;
    if (text.size() != kForm.size()) return std::nullopt;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool isDigit = KivGuiBase::IsDigitAscii(text[i]);
        if (isDigit != (kForm[i] == 'd') || (!isDigit && text[i] != '-')) return std::nullopt;
        if (isDigit) {
            numbers[number] = 10 * numbers[number] + (text[i] - '0');
        } else {
            ++number;
        }
    }
    return std::chrono::year_month_day(std::chrono::year(numbers[0]),
                                       std::chrono::month(static_cast<unsigned>(numbers[1])),
                                       std::chrono::day(static_cast<unsigned>(numbers[2])));
}

}  // namespace

bool Selection::IsEmpty() const {
    return from.empty() && to.empty() && subject.empty() && attachment.empty() && !since && !until;
}

bool Selection::Takes(const MIME::Mail& mail) const {
    if (!from.empty() && !HasAddress(mail.GetFrom(), from)) return false;
    if (!to.empty() && !HasAddress(mail.GetTo(), to) && !HasAddress(mail.GetCc(), to) &&
        !HasAddress(mail.GetBcc(), to)) {
        return false;
    }
    if (!subject.empty() && !Contains(mail.GetSubject(), subject)) return false;
    if (since || until) {
        const std::optional<MIME::Date> date = mail.GetDate();
        if (!date || (since && date->time < *since) || (until && date->time >= *until)) {
            return false;
        }
    }
    return attachment.empty() || HasAttachment(mail, attachment);
}

std::optional<std::chrono::sys_seconds> ReadTime(const std::string& text, bool isEnd) {
    if (const auto day = ReadDay(text)) {
        if (!day->ok()) return std::nullopt;
        return std::chrono::sys_days(*day) + std::chrono::days(isEnd ? 1 : 0);
    }
    const std::optional<MIME::Date> date = MIME::Date::Parse(text);
    if (!date) return std::nullopt;
    return date->time;
}

bool MatchesPattern(std::string_view text, std::string_view pattern) {
    size_t at = 0;  // in the text
    size_t next = 0;
    size_t star = std::string_view::npos;  // the last one seen, and where its text ends for now
    size_t starEnd = 0;
    while (at < text.size()) {
        const size_t length = std::max(KivGuiBase::MeasureUtf8(text.substr(at)), 1u);
        if (next < pattern.size() && pattern[next] == '*') {
            star = next++;
            starEnd = at;
        } else if (next < pattern.size() && pattern[next] == '?') {
            at += length;
            ++next;
        } else if (next < pattern.size() && EqualCaseless(pattern[next], text[at])) {
            ++at;
            ++next;
        } else if (star != std::string_view::npos) {
            next = star + 1;
            at = ++starEnd;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', next) == std::string_view::npos;
}

}  // namespace Tool
