#include "apps/dates.h"

namespace quillet {

bool is_leap_year(long long year) { return year % 4 == 0 && (year % 400 == 0 || year % 100 != 0); }

int month_length(long long year, int month) {
  constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && is_leap_year(year) ? 29 : lengths[month - 1];
}

const std::tm *local_time(std::time_t time) { return std::localtime(&time); }

std::optional<std::time_t> evening_of(long long year, long long month, long long day) {
  std::tm local{};
  if (__builtin_sub_overflow(year, 1900, &local.tm_year) || __builtin_sub_overflow(month, 1, &local.tm_mon) ||
      __builtin_add_overflow(day, 0, &local.tm_mday)) {
    return {};
  }
  local.tm_hour = 18;
  local.tm_isdst = -1;
  local.tm_wday = -1;  // stays so only on failure; the result -1 may be a time
  const std::time_t time = std::mktime(&local);
  if (local.tm_wday == -1) return {};
  return time;
}

const std::tm *offset_date(long long year, long long month, long long day, long long years, long long months,
                           long long days) {
  if (__builtin_add_overflow(year, years, &year)) return nullptr;
  const std::optional<std::time_t> evening = evening_of(year, month, day);
  if (!evening) return nullptr;
  const std::tm *start = local_time(*evening);
  if (start == nullptr) return nullptr;
  const int previous_month = start->tm_mon == 0 ? 12 : start->tm_mon;
  const int length = month_length(start->tm_year, months < 0 ? previous_month : start->tm_mon + 1);
  long long moved;
  if (__builtin_mul_overflow(months, length, &moved) || __builtin_add_overflow(moved, days, &moved) ||
      __builtin_mul_overflow(moved, day_seconds, &moved) || __builtin_add_overflow(moved, *evening, &moved)) {
    return nullptr;
  }
  return local_time(moved);
}

}  // namespace quillet
