#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <ctime>

#include "core/evaluator.h"
#include "core/operators.h"
#include "core/quoting.h"

namespace quillet {

namespace {

int turn = 0;         // of the two parameters of `color`
bool seeded = false;  // whether `random` has its seed

void forget_turn_and_seed() {
  turn = 0;
  seeded = false;
}

// ^rem[...]
//
// A comment: nothing in it is evaluated. Result: empty.
void op_rem(parameters &, text &) {}

// ^color[first;second]
//
// One of its two parameters, alternating from call to call, whichever calls they are.
void op_color(parameters &parameters, text &out) {
  // Deliberate: the first call gives the second parameter.
  turn = (turn + 1) % 2;
  out.append(parameters[turn]);
}

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

// ^sum[number;number]
//
// The sum of two whole numbers; it wraps around at 32 bits.
void op_sum(parameters &parameters, text &out) {
  const long long sum = 0LL + parse_int(parameters[0]) + parse_int(parameters[1]);
  out.append(decimal_digits(static_cast<int>(sum)));
}

// ^process[text]
//
// The text evaluated twice: operator calls that the first evaluation yields are made. The first one
// escapes nothing.
void op_process(parameters &parameters, text &out) {
  evaluate_parameters_quoted(quoting_none, parameters);
  evaluate(parameters[0], out);
}

// ^level[mode;text]
//
// The text evaluated in a quoting mode: `none`, `config`, `html`, `sql` or `javascript`. Any other
// name does not change the mode.
void op_level(parameters &parameters, text &out) {
  const quoting_scope scope(evaluate(parameters[0]).view());
  evaluate(parameters[1], out);
}

// ^random[]
// ^random[limit]
//
// A random whole number from 0 to `limit` - 1; a limit below 1, or none, is 1000000.
void op_random(parameters &parameters, text &out) {
  if (!seeded) {
    std::srand(static_cast<unsigned>(getpid()) + static_cast<unsigned>(std::time(nullptr)));
    static_cast<void>(std::rand());
    seeded = true;
  }
  const int limit = parse_int(parameters[0]);
  out.append(decimal_digits(std::rand() % (limit < 1 ? 1000000 : limit)));
}

constexpr operator_definition definitions[] = {
    {"rem", op_rem, 0, lazy, "^rem[...]", "A comment."},
    {"color", op_color, 2, evaluated, "^color[first;second]", "Alternates between its two parameters."},
    {"date", op_date, 0, evaluated, "^date[] ^date[format] ^date[format;offset] ^date[format;time]",
     "The time, formatted or in seconds."},
    {"sum", op_sum, 2, evaluated, "^sum[number;number]", "The sum of two whole numbers."},
    {"process", op_process, 1, lazy, "^process[text]", "Evaluates a text twice."},
    {"level", op_level, 2, lazy, "^level[mode;text]", "Evaluates a text in another quoting mode."},
    {"random", op_random, 0, evaluated, "^random[] ^random[limit]", "A random whole number."},
};

}  // namespace

extern const operator_module miscellaneous_operators{"language/miscellaneous.cpp", definitions, forget_turn_and_seed};

}  // namespace quillet
