// Dates of the Gregorian calendar, carried back before its beginning, as local times of the server.
#pragma once

#include <ctime>
#include <optional>

namespace quillet {

constexpr long long day_seconds = 86400;

// Divisible by 4 and, when divisible by 100, by 400 too.
[[nodiscard]] bool is_leap_year(long long year);

// The number of days of a month, 1 to 12.
[[nodiscard]] int month_length(long long year, int month);

// The local date and time; null when its year is out of range. It lives until the next call.
[[nodiscard]] const std::tm *local_time(std::time_t time);

// The local time of a date at 18:00:00: an hour that stays in its day when whole days are added over a
// daylight-saving shift. Months and days past their ends lead into the neighbouring months and years.
// Nothing when there is no such time.
[[nodiscard]] std::optional<std::time_t> evening_of(long long year, long long month, long long day);

// The date moved by years, then by months and days. Deliberate: a month is as many days as the month
// reached by then has, or the month before it when `months` is negative; and February has 29 of them by
// the leap-year rule for the years since 1900, which makes 2000 a common year. Null when there is no
// such date.
[[nodiscard]] const std::tm *offset_date(long long year, long long month, long long day, long long years,
                                         long long months, long long days);

}  // namespace quillet
