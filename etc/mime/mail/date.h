#pragma once

#include <chrono>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "kivgui/export.h"

namespace MIME {

/// A point in time as given by a Date field (RFC 5322, 3.3), and the zone in which it was written.
struct KIV_EXPORT Date {
    std::chrono::sys_seconds time;  ///< in UTC
    std::chrono::minutes offset{
        0};  ///< of the sender's clock from UTC: local time is time + offset
    /// False when the zone is missing, is "-0000", or has a name that does not define an offset
    /// from UTC (RFC 5322, 4.3); the text is then read as UTC.
    bool isZoneKnown = false;

    /// Reads a date, including the obsolete forms (RFC 5322, 4.3): comments, years of two or three
    /// digits, names of zones. It also reads what programs write: dates without the day of the
    /// week, commas, seconds or zone; names in full; fractions of a second; "1:30 PM"; "GMT+1";
    /// "Thu Jan  1 00:00:00 1970" (asctime); "2024-01-02T03:04:05Z" (RFC 3339) and "2024/01/02".
    ///
    /// @param text  a field value, which may be folded and contain any bytes.
    /// @return nothing when the text is not a date, does not make clear which day it means
    ///         ("01/02/2003"), or has a value out of range, such as February 30. The day of the
    ///         week is not compared. Second 60 is the first second of the next minute, because
    ///         these clocks have no leap seconds.
    ///
    /// Takes linear time; allocates nothing. Any thread.
    static std::optional<Date> Parse(std::string_view text) noexcept;

    /// The form that RFC 5322, 3.3 requires: "Mon, 23 Nov 2026 10:00:00 +0100"; with "-0000" for an
    /// unknown zone. The year has at least four digits; the time must be between the years -32767
    /// and 32767.
    std::string Format() const;

    friend bool operator==(const Date& a, const Date& b) noexcept = default;
    friend KIV_EXPORT std::ostream& operator<<(std::ostream& out, const Date& date);
};

}  // namespace MIME
