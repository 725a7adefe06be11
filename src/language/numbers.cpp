#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "core/operators.h"

namespace quillet {

namespace {

// ^sum[number;number]
//
// The sum of two whole numbers; it wraps around at 32 bits.
void op_sum(parameters &parameters, text &out) {
  const long long sum = 0LL + parse_int(parameters[0]) + parse_int(parameters[1]);
  out.append(decimal_digits(static_cast<int>(sum)));
}

bool seeded = false;

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
    {"sum", op_sum, 2, evaluated, "^sum[number;number]", "The sum of two whole numbers."},
    {"random", op_random, 0, evaluated, "^random[] ^random[limit]", "A random whole number."},
};

}  // namespace

extern const operator_module number_operators{"language/numbers.cpp", definitions, [] { seeded = false; }};

}  // namespace quillet
