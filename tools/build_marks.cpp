#include "build_marks.h"

#include <chrono>
#include <cstdio>
#include <regex>
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
    constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
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
    static const std::regex kForm(
        "(Mon|Tue|Wed|Thu|Fri|Sat|Sun), ([0-2]?[0-9]|3[01]) "
        "(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [0-9]{4} "
        "([01][0-9]|2[0-3]):[0-5][0-9]:([0-5][0-9]|60) [+-][0-9]{4}");
    if (!std::regex_match(date, kForm)) {
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
    static const std::regex kForm("<[!-;=?A-~]+@[!-;=?A-~]+>");
    constexpr size_t kMaxId = 900;  // one word, which cannot be folded
    if (id.size() > kMaxId || !std::regex_match(id, kForm)) {
        throw Failure(option, "\"" + id + "\" is not like \"<left@right>\"");
    }
}

}  // namespace Tool
