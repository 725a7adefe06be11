#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "core/evaluator.h"
#include "main/modules.h"
#include "table/registry.h"

namespace quillet {
namespace {

std::string rows_after(const std::string &page) {
  text out;
  evaluate(page, out);
  return std::string(out.view()) + std::string(current_table()->serialise().view());
}

// The grid made day by day: a tab before each day that opens no week, and before each cell without one.
std::string reference_grid(int year, int month, bool sunday_first) {
  using namespace std::chrono;
  const unsigned first_weekday = weekday(std::chrono::year(year) / month / 1).c_encoding();  // Sunday is 0
  unsigned position = sunday_first ? first_weekday : (first_weekday + 6) % 7;
  const unsigned length = static_cast<unsigned>(year_month_day_last(std::chrono::year(year) / month / last).day());
  std::string grid(position, '\t');
  for (unsigned day = 1; day <= length; ++day) {
    char cell[4];
    std::snprintf(cell, sizeof cell, "%02u\t", day % 100);
    grid += cell;
    if (++position % 7 == 0) grid += '\n';
  }
  if (position % 7 != 0) grid += std::string(7 - position % 7, '\t') + '\n';
  return grid;
}

TEST(calendar, lays_out_every_month_of_four_hundred_years) {
  register_all_operators();
  for (int year = 1800; year <= 2200; ++year) {
    for (int month = 1; month <= 12; ++month) {
      const std::string date = std::to_string(year) + ";" + std::to_string(month) + "]";
      ASSERT_EQ(rows_after("^calendar[month;" + date), reference_grid(year, month, false)) << date;
      ASSERT_EQ(rows_after("^calendar[montheng;" + date), reference_grid(year, month, true)) << date;
    }
  }
}

TEST(calendar, lays_out_months_of_far_years) {
  register_all_operators();
  for (int year = -32000; year <= 32000; year += 101) {
    const std::string date = std::to_string(year) + ";2]";
    ASSERT_EQ(rows_after("^calendar[month;" + date), reference_grid(year, 2, false)) << date;
  }
}

std::string reference_week(std::chrono::sys_days day, bool sunday_first) {
  using namespace std::chrono;
  const unsigned encoding = weekday(day).c_encoding();
  day -= days(sunday_first ? encoding : (encoding + 6) % 7);
  std::string rows;
  for (int position = 0; position < 7; ++position, day += days(1)) {
    const year_month_day date(day);
    char row[40];
    std::snprintf(row, sizeof row, "%04d\t%02u\t%02u\t%02d\n", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), position);
    rows += row;
  }
  return rows;
}

TEST(calendar, lists_the_week_of_every_day_of_a_hundred_years) {
  register_all_operators();
  for (int day = -20000; day <= 20000; ++day) {
    const std::chrono::sys_days date = std::chrono::sys_days(std::chrono::year(1970) / 1 / 1) + std::chrono::days(day);
    const std::string number = std::to_string(day + 1) + "]";
    ASSERT_EQ(rows_after("^calendar[week;1970;1;" + number), reference_week(date, false)) << day;
    ASSERT_EQ(rows_after("^calendar[weekeng;1970;1;" + number), reference_week(date, true)) << day;
  }
}

}  // namespace
}  // namespace quillet
