#include "build_marks.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <string_view>

#include <mime/mime.h>

#include "failure.h"

namespace Tool {

namespace {

uint64_t fixedState = 0;

/// SplitMix64, a byte of each number. For tests only; nothing here is secret.
void FillFromSeed(void* buffer, size_t size) {
    auto* bytes = static_cast<unsigned char*>(buffer);
    for (size_t i = 0; i < size; ++i) {
        uint64_t z = fixedState += 0x9E3779B97F4A7C15;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
        bytes[i] = static_cast<unsigned char>(z >> 56);
    }
}

constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// Does the text have the form, in which "9" stands for a digit, "a" for any character, "+" for a
/// sign, and the rest for itself?
bool HasForm(std::string_view text, std::string_view form) {
    return std::equal(text.begin(), text.end(), form.begin(), form.end(), [](char c, char wanted) {
        if (wanted == '9') return c >= '0' && c <= '9';
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

/// Characters of a message's identifier, the "@" and the brackets apart.
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
    KivGuiBase::GetUnpredictableBytes(random, sizeof random);
    const MIME::AnsiStr digits = KivGuiBase::Binary2B16Str(random, sizeof random, 0, "");
    return "<" + std::string(std::string_view(digits)) + "@" + domain + ">";
}

void CheckMessageId(const std::string& option, const std::string& id) {
    constexpr size_t kMaxId = 900;  // one word, which cannot be folded
    if (id.size() > kMaxId || !IsMessageId(id)) {
        throw Failure(option, "\"" + id + "\" is not like \"<left@right>\"");
    }
}

}  // namespace Tool
