#include <algorithm>
#include <memory>
#include <utility>

#include "apps/dates.h"
#include "core/operators.h"
#include "table/registry.h"

namespace quillet {

namespace {

constexpr std::string_view bad_date = "bad input date";

// The day's position in its week: Monday is 0, or Sunday in a week that starts with it.
int week_position(const std::tm &date, bool sunday_first) {
  return sunday_first ? date.tm_wday : (date.tm_wday + 6) % 7;
}

int month_parameter(std::string_view month) { return static_cast<int>(std::clamp(parse_long(month), 1LL, 12LL)); }

// The weeks of a month, a line of 7 cells for each; nothing when there is no such month.
text month_grid(long long year, int month, bool sunday_first) {
  text grid;
  const std::optional<std::time_t> first = evening_of(year, month, 1);
  const std::tm *date = first ? local_time(*first) : nullptr;
  if (date == nullptr) return grid;
  const int length = month_length(year, month);
  for (int day = 1 - week_position(*date, sunday_first); day <= length;) {
    for (int cell = 0; cell < 7; ++cell, ++day) {
      if (day >= 1 && day <= length) grid.append(format_signed(day, 2));
      grid.append('\t');
    }
    grid.append('\n');
  }
  return grid;
}

void append_date(const std::tm &date, text &row) {
  row.append(format_signed(date.tm_year + 1900LL, 4));
  row.append('\t');
  row.append(format_signed(date.tm_mon + 1, 2));
  row.append('\t');
  row.append(format_signed(date.tm_mday, 2));
  row.append('\t');
}

// The seven days of the week that holds a date, with their header line; nothing when there is no such
// week.
text week_list(long long year, int month, long long day, bool sunday_first) {
  const std::optional<std::time_t> evening = evening_of(year, month, day);
  const std::tm *date = evening ? local_time(*evening) : nullptr;
  if (date == nullptr) return {};
  long long time = *evening - week_position(*date, sunday_first) * day_seconds;
  text list("year\tmonth\tday\tweekday\n");
  for (int position = 0; position < 7; ++position, time += day_seconds) {
    date = local_time(time);
    if (date == nullptr) return {};
    append_date(*date, list);
    list.append(format_signed(position, 2));
    list.append('\n');
  }
  return list;
}

// ^calendar[mode;year;month]
// ^calendar[mode;year;month;day]
//
// A mode that begins with "month" makes the current table from a month: a row for each week, 7 cells with
// the days as two digits, empty outside the month. One that begins with "week" makes it from the week of a
// date: the columns `year`, `month`, `day` and `weekday`, 0 to 6. Weeks start on Monday; on Sunday when the
// mode ends with "eng". A month outside 1 to 12 counts as the nearest one. Another mode does nothing. Result:
// empty.
//
// [calendar: bad input date]
void op_calendar(parameters &parameters, text &out) {
  const std::string_view mode = parameters[0];
  const bool is_month = mode.starts_with("month");
  if (!is_month && !mode.starts_with("week")) return;
  remove_current_table();
  const bool sunday_first = mode.ends_with("eng");
  const long long year = parse_long(parameters[1]);
  const int month = month_parameter(parameters[2]);
  text rows = is_month ? month_grid(year, month, sunday_first)
                       : week_list(year, month, parse_long(parameters[3]), sunday_first);
  if (rows.is_null()) return append_error(out, "calendar", bad_date);
  if (is_month) return put_table(std::make_unique<table>(std::move(rows)));
  put_table(std::make_unique<table_named>(std::move(rows)));
}

// A date with its time of day, as the columns of a table show it.
struct time_stamp {
  long long year;
  long long month;
  long long day;
  long long hour;
  long long minute;
};

// Makes a table of one time stamp current.
void put_time_stamp(const time_stamp &stamp) {
  text rows("year\tmonth\tday\thour\tmin\n");
  rows.append(format_signed(stamp.year, 4));
  for (const long long part : {stamp.month, stamp.day, stamp.hour, stamp.minute}) {
    rows.append('\t');
    rows.append(format_signed(part, 2));
  }
  put_table(std::make_unique<table_named>(std::move(rows)));
}

// Puts the parts that the text gives, "year.month.day hour:minute", in place of the stamp's own. An
// empty part between separators is 0; the first one that is missing ends the reading.
void read_time_stamp(std::string_view source, time_stamp &stamp) {
  long long *const parts[] = {&stamp.year, &stamp.month, &stamp.day, &stamp.hour, &stamp.minute};
  constexpr std::string_view separators = ".. :";
  for (std::size_t i = 0; i < std::size(parts) && source.data() != nullptr; ++i) {
    std::string_view part = source;
    source = i < separators.size() ? cut_at_char(part, separators[i]) : std::string_view();
    *parts[i] = parse_long(part);
  }
}

// ^loadtimestamp[]
// ^loadtimestamp[date]
//
// Makes the current table from the current time: one row with the columns `year`, `month`, `day`, `hour`
// and `min`. The parts of a date, "year.month.day hour:minute", replace those of the current time and are
// taken as they are; it may end after any of them. More than one parameter counts as none. Result: empty.
//
// [loadtimestamp: bad input date]
void op_loadtimestamp(parameters &parameters, text &out) {
  const std::tm *now = local_time(std::time(nullptr));
  if (now == nullptr) return append_error(out, "loadtimestamp", bad_date);
  time_stamp stamp = {now->tm_year + 1900LL, now->tm_mon + 1, now->tm_mday, now->tm_hour, now->tm_min};
  if (parameters.count() == 1 && !parameters[0].empty()) read_time_stamp(parameters[0], stamp);
  put_time_stamp(stamp);
}

// ^dateoffset[years;months;days]
//
// Moves the date in the current row of the current table; the result is a new current table, as by
// `loadtimestamp`. The years come first. Months are moved by whole days: each is as long as the month
// that the years lead to, or for negative months the one before it (see offset_date). Without a current
// table nothing happens. Result: empty.
//
// [dateoffset: bad input date]
void op_dateoffset(parameters &parameters, text &out) {
  table *current = current_table();
  if (current == nullptr) return;
  const auto column = [current](std::string_view name) { return parse_long(current->item(name)); };
  const std::tm *date = offset_date(column("year"), column("month"), column("day"), parse_long(parameters[0]),
                                    parse_long(parameters[1]), parse_long(parameters[2]));
  if (date == nullptr) return append_error(out, "dateoffset", bad_date);
  put_time_stamp({date->tm_year + 1900LL, date->tm_mon + 1, date->tm_mday, column("hour"), column("min")});
}

constexpr operator_definition definitions[] = {
    {"calendar", op_calendar, 0, evaluated, "^calendar[mode;year;month] ^calendar[mode;year;month;day]",
     "Creates a table of the days of a month or a week."},
    {"loadtimestamp", op_loadtimestamp, 0, evaluated, "^loadtimestamp[] ^loadtimestamp[date]",
     "Creates a table of the current time, or of a date."},
    {"dateoffset", op_dateoffset, 3, evaluated, "^dateoffset[years;months;days]",
     "Moves the date in the current table."},
};

}  // namespace

extern const operator_module calendar_operators{"apps/calendar.cpp", definitions};

}  // namespace quillet
