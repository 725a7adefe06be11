#include <climits>
#include <ctime>

#include "core/operators.h"

namespace quillet {

namespace {

// The seconds of an offset or a time: a number, with "m", "h" or "d" as its last byte in
// minutes, hours or days.
long long offset_seconds(std::string_view offset) {
  const char unit = offset.back();
  const long long factor = unit == 'd' ? 86400 : unit == 'h' ? 3600 : unit == 'm' ? 60 : 1;
  const long long number = parse_long(offset);
  long long seconds;
  if (__builtin_mul_overflow(number, factor, &seconds)) return number < 0 ? LLONG_MIN : LLONG_MAX;
  return seconds;
}

// The time meant by the second parameter of `date`.
long long date_time(std::string_view offset) {
  const long long now = std::time(nullptr);
  if (offset.empty()) return now;
  const long long seconds = offset_seconds(offset);
  if (offset.front() != '+' && offset.front() != '-') return seconds;
  long long moved;
  return __builtin_add_overflow(now, seconds, &moved) ? LLONG_MAX : moved;
}

// ^date[]
// ^date[format]
// ^date[format;offset]
// ^date[format;time]
//
// The current time. `format`: as for strftime(3), in local time; none gives seconds since 1970.
// `offset`: "+" or "-" and a number of seconds, "m" minutes, "h" hours or "d" days to add.
// `time`: such a number without a sign, seconds since 1970. A time whose year is out of range, or a
// result of more than 1,023 bytes, gives no text.
void op_date(parameters &parameters, text &out) {
  const std::time_t time = date_time(parameters[1]);
  if (parameters[0].empty()) return out.append(decimal_digits(time));
  const std::tm *local = std::localtime(&time);
  if (local == nullptr) return;
  char formatted[1024];
  out.append({formatted, std::strftime(formatted, sizeof formatted, text(parameters[0]).c_str(), local)});
}

constexpr operator_definition definitions[] = {
    {"date", op_date, 0, evaluated, "^date[] ^date[format] ^date[format;offset] ^date[format;time]",
     "The time, formatted or in seconds."},
};

}  // namespace

extern const operator_module date_operators{"language/date.cpp", definitions};

}  // namespace quillet
