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

// One item of an order such as "-N|A".
struct order_item {
  char type;  // in upper case; '\0' for none
  bool descending;
};

// The items up to the first one that has something other than "|" after its letter.
std::vector<order_item> parse_order(std::string_view order) {
  std::vector<order_item> items;
  while (!order.empty()) {
    const bool descending = order.front() == '-';
    if (descending || order.front() == '+') order.remove_prefix(1);
    items.push_back({order.empty() ? '\0' : upper_char(order.front()), descending});
    order = order.substr(std::min<std::size_t>(order.size(), 1));
    if (!order.starts_with('|')) break;
    order.remove_prefix(1);
  }
  return items;
}

// What a row is sorted by, with what each item of the order reads from its part of it.
struct sort_key {
  struct part {
    std::string_view bytes;
    long long whole;
    double fraction;
  };
  text bytes;
  std::vector<part> parts;
  bool is_known = false;

  void split(std::span<const order_item> order) {
    parts.clear();
    std::string_view rest = bytes;
    for (const order_item &item : order) {
      part taken = {next_token(rest, '|'), 0, 0};
      if (!taken.bytes.empty()) {
        // It ends at a "|" or at the NUL byte after the key.
        char *start = bytes.data() + (taken.bytes.data() - bytes.data());
        if (item.type == 'D') taken.whole = parse_long(taken.bytes);
        if (item.type == 'N') taken.fraction = std::strtod(start, nullptr);
        if (item.type == 'A') recode(start, taken.bytes.size(), source_charset(), charset_windows_1251);
      }
      parts.push_back(taken);
    }
  }
};

template <class number>
int sign_of_difference(number a, number b) {
  return static_cast<int>(a > b) - static_cast<int>(a < b);
}

int compare_parts(char type, const sort_key::part &a, const sort_key::part &b) {
  switch (type) {
    case 'D':
      return sign_of_difference(a.whole, b.whole);
    case 'A':
      return a.bytes.compare(b.bytes);  // a missing part is empty and comes first
    case 'N':
      return sign_of_difference(a.fraction, b.fraction);
    default:
      return 0;
  }
}

// Compares the rows of a table. A key is evaluated whenever it is compared, unless nobody can see the
// difference: keys are kept as long as evaluating them has changed nothing.
class row_comparison {
 public:
  row_comparison(table &sorted, std::string_view key, std::string_view order)
      : sorted_(sorted),
        key_(key),
        order_(parse_order(order)),
        kept_(static_cast<std::size_t>(sorted.count())),
        effects_before_(effect_count()) {}

  // Negative, 0 or positive.
  int operator()(int row_a, int row_b) {
    const sort_key &a = key_of(row_a, fresh_[0]);
    const sort_key &b = key_of(row_b, fresh_[1]);
    for (std::size_t k = 0; k < order_.size(); ++k) {
      const int result = compare_parts(order_[k].type, a.parts[k], b.parts[k]);
      if (result != 0) return order_[k].descending ? -result : result;
    }
    return 0;
  }

 private:
  const sort_key &key_of(int row, sort_key &fresh) {
    const bool keep = effect_count() == effects_before_;
    sort_key &key = keep ? kept_[static_cast<std::size_t>(row)] : fresh;
    if (keep && key.is_known) return key;
    key.bytes.clear();
    sorted_.set_current(row);
    evaluate(key_, key.bytes);
    key.split(order_);
    key.is_known = true;
    return key;
  }

  table &sorted_;
  std::string_view key_;
  std::vector<order_item> order_;
  std::vector<sort_key> kept_;  // by row
  unsigned long effects_before_;
  sort_key fresh_[2];
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
// are then. Result: empty.
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
