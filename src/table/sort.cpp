#include "table/sort.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <span>
#include <vector>

#include "cgi/charset.h"
#include "core/evaluator.h"
#include "core/operators.h"
#include "table/registry.h"

namespace quillet {

namespace {

// A key under comparison, and what is left of it behind the parts that were taken.
struct sort_key {
  text bytes;
  std::string_view rest;

  std::string_view take_part() { return next_token(rest, '|'); }
};

template <class number>
int sign_of_difference(number a, number b) {
  return static_cast<int>(a > b) - static_cast<int>(a < b);
}

// The number at the front of a part, which ends at a "|" or at its key's end.
double parse_fraction(std::string_view part) { return part.empty() ? 0 : std::strtod(part.data(), nullptr); }

// A part of a key, recoded where it stands.
std::string_view to_windows_1251(sort_key &key, std::string_view part) {
  char *bytes = key.bytes.data() + (part.empty() ? 0 : part.data() - key.bytes.data());
  recode(bytes, part.size(), source_charset(), charset_windows_1251);
  return part;
}

// Compares the rows of a table by a key expression, under an order such as "-N|A".
class row_comparison {
 public:
  row_comparison(table &sorted, std::string_view key, std::string_view order)
      : sorted_(sorted), key_(key), order_(order) {}

  // Negative, 0 or positive. Evaluates the key of both rows, each made current for it.
  int operator()(int a, int b) {
    take_key(a, a_);
    take_key(b, b_);
    for (std::string_view rest = order_; !rest.empty();) {
      const bool descending = rest.front() == '-';
      if (descending || rest.front() == '+') rest.remove_prefix(1);
      const char type = rest.empty() ? '\0' : upper_char(rest.front());
      const int result = compare_parts(type);
      if (result != 0) return descending ? -result : result;
      // Behind a type letter that something else follows, nothing more is compared.
      rest = rest.substr(std::min<std::size_t>(rest.size(), 1));
      if (!rest.starts_with('|')) break;
      rest.remove_prefix(1);
    }
    return 0;
  }

 private:
  void take_key(int row, sort_key &key) {
    key.bytes.clear();
    sorted_.set_current(row);
    evaluate(key_, key.bytes);
    key.rest = key.bytes;
  }

  int compare_parts(char type) {
    const std::string_view a = a_.take_part();
    const std::string_view b = b_.take_part();
    switch (type) {
      case 'D':
        return sign_of_difference(parse_long(a), parse_long(b));
      case 'A':
        return to_windows_1251(a_, a).compare(to_windows_1251(b_, b));
      case 'N':
        return sign_of_difference(parse_fraction(a), parse_fraction(b));
      default:
        return 0;
    }
  }

  table &sorted_;
  std::string_view key_;
  std::string_view order_;
  sort_key a_;
  sort_key b_;
};

// Sorts by merging halves: at most n log2 n comparisons, and every row appears once in the result,
// however inconsistent the comparison is. `buffer` has room for as many rows.
void merge_sort(std::span<int> rows, std::span<int> buffer, row_comparison &compare) {
  if (rows.size() < 2) return;
  const std::size_t half = rows.size() / 2;
  merge_sort(rows.first(half), buffer, compare);
  merge_sort(rows.subspan(half), buffer, compare);
  std::copy_n(rows.begin(), half, buffer.begin());
  std::size_t left = 0;
  std::size_t right = half;
  for (std::size_t next = 0; left < half; ++next) {
    const bool take_right = right < rows.size() && compare(buffer[left], rows[right]) > 0;
    rows[next] = take_right ? rows[right++] : buffer[left++];
  }
}

// ^sort[key;order]
//
// Sorts the rows of the current table. `key` is evaluated for each row as often as the row is compared,
// with that row current. The order has an item for each part of the key, both separated by "|": "+"
// ascending (may be left out) or "-" descending, then "D" for whole numbers, "N" for decimal fractions
// or "A" for text. The first row becomes current. A key that adds or removes rows leaves them as they
// are then. No text.
void op_sort(parameters &parameters, text &) {
  const expansion order = evaluate(parameters[1]);
  // The key may replace the table; this one lives until the end.
  const std::shared_ptr<table> sorted = share_current_table();
  if (sorted == nullptr || sorted->count() == 0) return;
  const auto count = static_cast<std::size_t>(sorted->count());
  std::vector<int> rows(count);
  std::iota(rows.begin(), rows.end(), 0);
  std::vector<int> buffer(count / 2);
  const loop_scope loop(parameters[0]);
  row_comparison compare(*sorted, parameters[0], order);
  merge_sort(rows, buffer, compare);
  if (static_cast<std::size_t>(sorted->count()) == count) sorted->reorder(rows);
  sorted->set_current(0);
}

constexpr operator_definition module[] = {
    {"sort", op_sort, 2, lazy, "^sort[key;order]", "Sorts the rows of the current table."},
};

}  // namespace

void register_sort_operators() { register_operators(module); }

}  // namespace quillet
