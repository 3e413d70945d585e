#include "mime/mail/date.h"

#include <array>
#include <cstdint>
#include <cstdio>

#include "kivgui/ascii.h"

// A date is read as a set of parts, in whatever order they come: what a part is shows in its form. A name
// is a month, a day of the week or a zone; digits with ":" are the time; digits after a sign are the
// offset; of the other numbers the day comes first, unless the first one can only be a year. Words that
// say nothing ("at", "Standard", "Time") are passed over, but every number must have its place.

namespace MIME {

namespace {

using KivGuiBase::EqualsCaseless;
using KivGuiBase::IsDigitAscii;

constexpr std::array<std::string_view, 12> kMonths = {
    "January", "February", "March",     "April",   "May",      "June",
    "July",    "August",   "September", "October", "November", "December"};
constexpr std::array<std::string_view, 7> kDays = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                   "Thursday", "Friday", "Saturday"};

struct ZoneName {
    std::string_view name;
    int hours;
};

/// RFC 5322, 4.3, and names that mean one zone only.
constexpr ZoneName kZones[] = {
    {"UT", 0},    {"UTC", 0},  {"GMT", 0},  {"Z", 0},    {"EST", -5}, {"EDT", -4},  {"CST", -6},
    {"CDT", -5},  {"MST", -7}, {"MDT", -6}, {"PST", -8}, {"PDT", -7}, {"AKST", -9}, {"AKDT", -8},
    {"HST", -10}, {"WET", 0},  {"WEST", 1}, {"CET", 1},  {"CEST", 2}, {"MET", 1},   {"MEST", 2},
    {"EET", 2},   {"EEST", 3}, {"MSK", 3},  {"JST", 9},  {"KST", 9},  {"NZST", 12}, {"NZDT", 13}};

/// The names of North American zones in full, which some programs write: "Eastern Daylight Time".
constexpr ZoneName kLongZones[] = {
    {"Eastern", -5}, {"Central", -6}, {"Mountain", -7}, {"Pacific", -8}};

constexpr bool IsLetter(char c) noexcept {
    const char lower = KivGuiBase::ToLowerAscii(c);
    return lower >= 'a' && lower <= 'z';
}

/// Index of a name, whole or its first three letters or more ("Sept"); nothing when it is not there.
template <size_t kCount>
std::optional<unsigned> FindName(const std::array<std::string_view, kCount>& names,
                                 std::string_view text) noexcept {
    constexpr size_t kShortest = 3;
    if (text.size() < kShortest) return std::nullopt;
    for (unsigned i = 0; i < kCount; ++i) {
        if (text.size() <= names[i].size() && KivGuiBase::StartsWithCaseless(names[i], text)) {
            return i;
        }
    }
    return std::nullopt;
}

class DateReader {
public:
    explicit DateReader(std::string_view text) noexcept : rest_(text) {}

    std::optional<Date> Read() noexcept {
        while (!rest_.empty()) {
            if (!TakePart()) return std::nullopt;
        }
        return Make();
    }

private:
    struct Number {
        unsigned value;
        size_t digits;
    };

    /// Takes the digits at the start of the rest; more than 9 are no number.
    std::optional<Number> TakeNumber() noexcept {
        Number number{0, 0};
        while (!rest_.empty() && IsDigitAscii(rest_.front()) && number.digits < 10) {
            number.value = number.value * 10 + static_cast<unsigned>(rest_.front() - '0');
            ++number.digits;
            rest_.remove_prefix(1);
        }
        if (number.digits == 0 || number.digits > 9) return std::nullopt;
        return number;
    }

    bool Match(char c) noexcept {
        if (!rest_.starts_with(c)) return false;
        rest_.remove_prefix(1);
        return true;
    }

    bool AtDigit() const noexcept { return !rest_.empty() && IsDigitAscii(rest_.front()); }

    std::string_view TakeLetters() noexcept {
        size_t length = 0;
        while (length < rest_.size() && IsLetter(rest_[length])) ++length;
        const std::string_view letters = rest_.substr(0, length);
        rest_.remove_prefix(length);
        return letters;
    }

    bool TakePart() noexcept {
        const char c = rest_.front();
        if (IsDigitAscii(c)) return TakeDigits();
        if (IsLetter(c)) return TakeName();
        if (c == '(') {
            SkipComment();
            return true;
        }
        rest_.remove_prefix(1);
        // A sign begins an offset after the time. Before it, it joins the parts of the date.
        if ((c == '+' || c == '-') && hasTime_) return TakeOffset(c == '-');
        return true;
    }

    void SkipComment() noexcept {
        size_t depth = 0;
        while (!rest_.empty()) {
            const char c = rest_.front();
            rest_.remove_prefix(c == '\\' && rest_.size() > 1 ? 2 : 1);
            if (c == '(') ++depth;
            if (c == ')' && --depth == 0) return;
        }
    }

    /// CFWS (RFC 5322, 3.2.2)
    void SkipBlanks() noexcept {
        while (!rest_.empty()) {
            if (rest_.front() == '(') {
                SkipComment();
            } else if (KivGuiBase::IsSpaceAscii(rest_.front())) {
                rest_.remove_prefix(1);
            } else {
                return;
            }
        }
    }

    bool TakeDigits() noexcept {
        const std::optional<Number> number = TakeNumber();
        if (!number) return false;
        SkipBlanks();
        if (!hasTime_ && Match(':')) return TakeTime(number->value);
        if (hasTime_ && count_ == (month_ ? 2 : 3)) {
            // The date is complete, so this is an offset without its sign, or nothing.
            if (number->digits == 4 && number->value % 100 <= 59 && !hasOffset_) {
                SetOffset(static_cast<int>(number->value / 100 * 60 + number->value % 100));
            }
            return true;
        }
        if (count_ == std::size(numbers_)) return false;
        numbers_[count_++] = *number;
        return true;
    }

    /// hour ":" minute [ ":" second [ "." fraction ] ]
    bool TakeTime(unsigned hour) noexcept {
        hasTime_ = true;
        hour_ = hour;
        SkipBlanks();
        const std::optional<Number> minute = TakeNumber();
        if (!minute) return false;
        minute_ = minute->value;
        SkipBlanks();
        if (!Match(':')) return true;
        SkipBlanks();
        const std::optional<Number> second = TakeNumber();
        if (!second) return false;
        second_ = second->value;
        if (Match('.') || Match(',')) {
            while (AtDigit()) rest_.remove_prefix(1);
        }
        return true;
    }

    bool TakeName() noexcept {
        const std::string_view name = TakeLetters();
        if (const auto month = FindName(kMonths, name)) {
            if (month_) return false;
            month_ = *month + 1;
            return true;
        }
        if (FindName(kDays, name)) return true;
        if (EqualsCaseless(name, "AM") || EqualsCaseless(name, "PM")) {
            isPm_ = EqualsCaseless(name, "PM");
            isTwelveHours_ = true;
            return true;
        }
        if (hasTime_) TakeZone(name);
        return true;  // "at", the "T" of RFC 3339, "Time"
    }

    void TakeZone(std::string_view name) noexcept {
        for (const ZoneName& zone : kZones) {
            if (!EqualsCaseless(name, zone.name) || hasOffset_) continue;
            SetOffset(zone.hours * 60);
            isZoneNamed_ = true;
        }
        for (const ZoneName& zone : kLongZones) {
            if (EqualsCaseless(name, zone.name) && !hasOffset_) SetOffset(zone.hours * 60);
        }
        if (EqualsCaseless(name, "Daylight") && hasOffset_ && !isZoneNamed_) offset_ += 60;
    }

    /// The digits of "+hhmm", "+hh:mm", "+hmm", "+hh" or "+h", its sign taken. An offset after the
    /// name of a zone is from there ("GMT+1").
    bool TakeOffset(bool isNegative) noexcept {
        if (!AtDigit()) return true;  // "+-0500": the last sign counts
        const std::optional<Number> number = TakeNumber();
        if (!number || number->digits > 4) return false;
        unsigned hours = number->value;
        unsigned minutes = 0;
        if (number->digits > 2) {
            hours = number->value / 100;
            minutes = number->value % 100;
        } else if (Match(':')) {
            const std::optional<Number> right = TakeNumber();
            if (!right) return false;
            minutes = right->value;
        }
        if (minutes > 59) return false;
        if (hasOffset_ && !(isZoneNamed_ && offset_ == 0)) return true;
        const int offset = static_cast<int>(hours * 60 + minutes);
        SetOffset(isNegative ? -offset : offset);
        isZoneKnown_ = !(isNegative && offset == 0);
        isZoneNamed_ = false;
        return true;
    }

    void SetOffset(int minutes) noexcept {
        offset_ = minutes;
        hasOffset_ = true;
        isZoneKnown_ = true;
    }

    /// Two or three digits are a year after 1900 (RFC 5322, 4.3).
    static int GetYear(Number number) noexcept {
        const int year = static_cast<int>(number.value);
        if (number.digits == 2 && year < 50) return year + 2000;
        return number.digits <= 3 ? year + 1900 : year;
    }

    std::optional<std::chrono::year_month_day> MakeDay() const noexcept {
        // day, year; with a month in digits: year, month, day.
        if (count_ != (month_ ? 2u : 3u)) return std::nullopt;
        const bool isYearFirst = numbers_[0].digits >= 3;
        if (!month_ && !isYearFirst) return std::nullopt;
        const Number year = isYearFirst ? numbers_[0] : numbers_[1];
        const Number day = isYearFirst ? numbers_[count_ - 1] : numbers_[0];
        if (year.digits < 2 || year.digits > 4 || day.digits > 2) return std::nullopt;
        const unsigned month = month_ ? *month_ : numbers_[1].value;
        const std::chrono::year_month_day date{std::chrono::year(GetYear(year)),
                                               std::chrono::month(month),
                                               std::chrono::day(day.value)};
        if (!date.ok() || month > kMonths.size()) return std::nullopt;
        return date;
    }

    std::optional<Date> Make() const noexcept {
        constexpr unsigned kLeapSecond = 60;
        const auto day = MakeDay();
        if (!day || !hasTime_ || minute_ > 59 || second_ > kLeapSecond) return std::nullopt;
        unsigned hour = hour_;
        if (isTwelveHours_ && hour <= 12) hour = hour % 12 + (isPm_ ? 12 : 0);
        if (hour > 23) return std::nullopt;
        const std::chrono::minutes offset(offset_);
        return Date{std::chrono::sys_days(*day) + std::chrono::hours(hour) +
                        std::chrono::minutes(minute_) + std::chrono::seconds(second_) - offset,
                    offset, isZoneKnown_};
    }

    std::string_view rest_;
    Number numbers_[3]{};
    size_t count_ = 0;
    std::optional<unsigned> month_;
    bool hasTime_ = false;
    unsigned hour_ = 0;
    unsigned minute_ = 0;
    unsigned second_ = 0;
    bool isTwelveHours_ = false;
    bool isPm_ = false;
    bool hasOffset_ = false;
    bool isZoneKnown_ = false;
    bool isZoneNamed_ = false;
    int offset_ = 0;  ///< minutes
};

}  // namespace

std::optional<Date> Date::Parse(std::string_view text) noexcept {
    return DateReader(text).Read();
}

std::string Date::Format() const {
    using namespace std::chrono;
    const sys_seconds local = time + offset;
    const sys_days day = floor<days>(local);
    const year_month_day date(day);
    const hh_mm_ss clock(local - day);
    const auto minutesAway = static_cast<int>(abs(offset).count());
    const char sign = offset.count() < 0 || !isZoneKnown ? '-' : '+';
    char text[96];
    std::snprintf(
        text, sizeof text, "%.3s, %02u %.3s %04d %02d:%02d:%02d %c%02d%02d",
        kDays[weekday(day).c_encoding()].data(), static_cast<unsigned>(date.day()),
        kMonths[static_cast<unsigned>(date.month()) - 1].data(), static_cast<int>(date.year()),
        static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
        static_cast<int>(clock.seconds().count()), sign, minutesAway / 60, minutesAway % 60);
    return text;
}

std::ostream& operator<<(std::ostream& out, const Date& date) {
    return out << date.Format();
}

}  // namespace MIME
