#include "apps/dates.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

namespace quillet {
namespace {

// Sets the local time zone for the rest of the test.
void set_zone(const char *zone) {
  setenv("TZ", zone, 1);
  tzset();
}

// Without daylight-saving time, with it on either half of the globe, at midnight, and with a negative one.
constexpr const char *zones[] = {"UTC",
                                 "XXX12",
                                 "XXX-14",
                                 "CET-1CEST,M3.5.0,M10.5.0/3",
                                 "AEST-10AEDT,M10.1.0,M4.1.0/3",
                                 "<-04>4<-03>,M10.1.0/0,M3.4.0/0",
                                 "IST-1GMT0,M10.5.0,M3.5.0/1"};

std::chrono::sys_days reference_day(int year, int month, long long day) {
  using namespace std::chrono;
  const sys_days first = std::chrono::year(year) / month / 1;
  return first + days(day - 1);
}

std::string shown(std::chrono::sys_days day) {
  const std::chrono::year_month_day date(day);
  return std::to_string(static_cast<int>(date.year())) + "-" + std::to_string(static_cast<unsigned>(date.month())) +
         "-" + std::to_string(static_cast<unsigned>(date.day())) + " " +
         std::to_string(std::chrono::weekday(day).c_encoding());
}

std::string shown(const std::tm *date) {
  if (date == nullptr) return "(none)";
  return std::to_string(date->tm_year + 1900LL) + "-" + std::to_string(date->tm_mon + 1) + "-" +
         std::to_string(date->tm_mday) + " " + std::to_string(date->tm_wday);
}

std::string evening_shown(long long year, long long month, long long day) {
  const std::optional<std::time_t> evening = evening_of(year, month, day);
  return evening ? shown(local_time(*evening)) : "(none)";
}

TEST(is_leap_year, is_the_rule_of_the_Gregorian_calendar) {
  for (int year = -5000; year <= 5000; ++year) {
    EXPECT_EQ(is_leap_year(year), std::chrono::year(year).is_leap()) << year;
  }
}

TEST(is_leap_year, knows_every_year_of_64_bits) {
  EXPECT_FALSE(is_leap_year(LLONG_MAX));
  EXPECT_TRUE(is_leap_year(LLONG_MIN));  // -9223372036854775808 is divisible by 4 and not by 100
}

TEST(month_length, is_the_number_of_days_of_the_month) {
  for (int year = -5000; year <= 5000; ++year) {
    for (int month = 1; month <= 12; ++month) {
      const std::chrono::year_month_day_last last = std::chrono::year(year) / month / std::chrono::last;
      EXPECT_EQ(month_length(year, month), static_cast<int>(static_cast<unsigned>(last.day()))) << year << "-" << month;
    }
  }
}

TEST(evening_of, is_the_date_in_every_zone) {
  for (const char *zone : zones) {
    set_zone(zone);
    for (int year = 1950; year <= 2050; ++year) {
      for (int month = 1; month <= 12; ++month) {
        for (int day = 1; day <= month_length(year, month); ++day) {
          ASSERT_EQ(evening_shown(year, month, day), shown(reference_day(year, month, day))) << zone;
        }
      }
    }
  }
}

TEST(evening_of, is_the_date_in_far_years) {
  set_zone("CET-1CEST,M3.5.0,M10.5.0/3");
  for (int year = -32000; year <= 32000; year += 7) {
    for (int month = 1; month <= 12; ++month) {
      ASSERT_EQ(evening_shown(year, month, 1), shown(reference_day(year, month, 1)));
    }
  }
}

TEST(evening_of, is_at_18_o_clock) {
  set_zone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(evening_of(2024, 1, 1), 1704128400);  // 17:00 UTC
  EXPECT_EQ(evening_of(2024, 7, 1), 1719849600);  // 16:00 UTC
}

TEST(evening_of, leads_days_past_the_month_into_others) {
  set_zone("UTC");
  for (long long day = -100000; day <= 100000; day += 37) {
    ASSERT_EQ(evening_shown(2000, 3, day), shown(reference_day(2000, 3, day))) << day;
  }
}

TEST(evening_of, leads_months_past_the_year_into_others) {
  set_zone("UTC");
  EXPECT_EQ(evening_shown(2000, 13, 1), shown(reference_day(2001, 1, 1)));
  EXPECT_EQ(evening_shown(2000, 0, 1), shown(reference_day(1999, 12, 1)));
  EXPECT_EQ(evening_shown(2000, -23, 1), shown(reference_day(1998, 1, 1)));
}

TEST(evening_of, knows_the_second_before_1970) {
  set_zone("XXX-5:59:59");  // 18:00:00 there is 12:00:01 in UTC
  EXPECT_EQ(evening_of(1970, 1, 1), 43201);
  set_zone("XXX6:00:01");  // and here the next day's 00:00:01
  EXPECT_EQ(evening_of(1969, 12, 31), 1);
  set_zone("XXX5:59:59");
  EXPECT_EQ(evening_of(1969, 12, 31), -1);
}

TEST(evening_of, is_nothing_for_numbers_that_fit_no_date) {
  set_zone("UTC");
  for (const long long huge : {LLONG_MIN, INT_MIN - 1LL, INT_MAX + 1902LL, LLONG_MAX}) {
    EXPECT_FALSE(evening_of(huge, 1, 1)) << huge;
    EXPECT_FALSE(evening_of(2000, huge, 1)) << huge;
    EXPECT_FALSE(evening_of(2000, 1, huge)) << huge;
  }
  EXPECT_FALSE(evening_of(INT_MAX + 1900LL, 12, 32));
  EXPECT_TRUE(evening_of(INT_MAX + 1900LL, 12, 31));
  EXPECT_FALSE(evening_of(INT_MIN + 1900LL, 0, 1));
  EXPECT_TRUE(evening_of(INT_MIN + 1900LL, 1, 1));
}

// What `offset_date` says in words, in whole days.
std::chrono::sys_days reference_offset(int year, int month, int day, int years, int months, int days) {
  const std::chrono::sys_days start = reference_day(year + years, month, day);
  const std::chrono::year_month_day date(start);
  int counted = static_cast<int>(static_cast<unsigned>(date.month()));
  if (months < 0) counted = counted == 1 ? 12 : counted - 1;
  constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  int length = lengths[counted - 1];
  if (counted == 2 && std::chrono::year(static_cast<int>(date.year()) - 1900).is_leap()) length = 29;
  return start + std::chrono::days(static_cast<long long>(months) * length + days);
}

TEST(offset_date, adds_whole_days_in_every_zone) {
  std::mt19937 random(7);
  const auto between = [&random](int low, int high) {
    return low + static_cast<int>(random() % static_cast<std::uint32_t>(high - low + 1));
  };
  for (const char *zone : zones) {
    set_zone(zone);
    for (int n = 0; n < 20000; ++n) {
      const int year = between(-3000, 3000);
      const int month = between(1, 12);
      const int day = between(-40, 70);
      const int years = between(-500, 500);
      const int months = between(-60, 60);
      const int days = between(-2000, 2000);
      ASSERT_EQ(shown(offset_date(year, month, day, years, months, days)),
                shown(reference_offset(year, month, day, years, months, days)))
          << zone << ": " << year << "-" << month << "-" << day << " by " << years << " " << months << " " << days;
    }
  }
}

TEST(offset_date, deliberate_February_is_judged_by_the_years_since_1900) {
  set_zone("UTC");
  for (int year = 1000; year <= 3000; year += 100) {
    const int length = (year - 1900) % 400 == 0 ? 29 : 28;
    EXPECT_EQ(shown(offset_date(year, 3, 31, 0, -1, 0)), shown(reference_day(year, 3, 31 - length))) << year;
  }
}

// Whatever the numbers, there is a date or none; a sanitizer sees everything else.
TEST(offset_date, survives_every_number) {
  constexpr long long numbers[] = {LLONG_MIN, LLONG_MIN + 1, -3000000000, INT_MIN,       -1901,    -1, 0, 1,
                                   12,        INT_MAX,       3000000000,  LLONG_MAX - 1, LLONG_MAX};
  set_zone("CET-1CEST,M3.5.0,M10.5.0/3");
  for (const long long year : numbers) {
    for (const long long day : numbers) {
      for (const long long years : numbers) {
        for (const long long months : numbers) {
          for (const long long days : numbers) {
            const std::tm *date = offset_date(year, 1, day, years, months, days);
            ASSERT_TRUE(date == nullptr || (date->tm_mday >= 1 && date->tm_mday <= 31));
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace quillet
