#include <algorithm>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <span>
#include <vector>

#include "cgi/charset.h"
#include "core/evaluator.h"
#include "core/operators.h"
#include "core/preparation.h"
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

// What an item of the order reads from its part of a key; which member holds it depends on the item's type.
union key_part {
  long long whole;
  double fraction;
  std::string_view bytes;

  key_part() : whole(0) {}
};

// What strtod gives for a decimal fraction. Of up to fifteen digits both the digits and the power of ten are exact
// doubles, so that one division rounds as strtod does (W. D. Clinger: How to read floating point numbers accurately,
// 1990), in a quarter of its instructions.
double parse_fraction(std::string_view part, const char *terminated) {
  constexpr double powers[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  constexpr std::size_t longest = 15;
  long long digits = 0;
  std::size_t point = part.size();
  std::size_t i = part.starts_with('-') ? 1 : 0;
  const std::size_t first = i;
  for (; i < part.size() && (is_digit(part[i]) || (part[i] == '.' && point == part.size())); ++i) {
    if (i - first > longest) break;
    if (part[i] == '.') {
      point = i;
    } else {
      digits = digits * 10 + (part[i] - '0');
    }
  }
  const std::size_t decimals = point == part.size() ? 0 : part.size() - point - 1;
  const std::size_t count = i - first - (point == part.size() ? 0 : 1);
  if (i < part.size() || count == 0 || count > longest) return std::strtod(terminated, nullptr);
  const double fraction = static_cast<double>(digits) / powers[decimals];
  return first == 1 ? -fraction : fraction;
}

template <class number>
int sign_of_difference(number a, number b) {
  return static_cast<int>(a > b) - static_cast<int>(a < b);
}

int compare_parts(char type, const key_part &a, const key_part &b) {
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
// difference: keys are kept as long as evaluating them has changed nothing. Kept ones lie in one array, as numbers
// where the order has numbers: a page that sorts 5,000 rows takes three quarters of the time.
class row_comparison {
 public:
  row_comparison(table &sorted, std::string_view key, std::string_view order)
      : sorted_(sorted),
        key_(key),
        order_(parse_order(order)),
        kept_(static_cast<std::size_t>(sorted.count()) * order_.size()),
        is_kept_(static_cast<std::size_t>(sorted.count())),
        effects_before_(effect_count()) {
    for (fresh_key &fresh : fresh_) fresh.parts.resize(order_.size());
  }

  // Negative, 0 or positive.
  int operator()(int row_a, int row_b) {
    const key_part *const a = key_of(row_a, fresh_[0]);
    const key_part *const b = key_of(row_b, fresh_[1]);
    for (std::size_t k = 0; k < order_.size(); ++k) {
      const int result = compare_parts(order_[k].type, a[k], b[k]);
      if (result != 0) return order_[k].descending ? -result : result;
    }
    return 0;
  }

 private:
  struct fresh_key {
    text bytes;
    std::vector<key_part> parts;
  };

  const key_part *key_of(int row, fresh_key &fresh) {
    const auto position = static_cast<std::size_t>(row);
    const bool keep = preparation_enabled() && effect_count() == effects_before_;
    key_part *const parts = keep ? kept_.data() + position * order_.size() : fresh.parts.data();
    if (keep && is_kept_[position] != 0) return parts;
    fresh.bytes.clear();
    sorted_.set_current(row);
    evaluate(key_, fresh.bytes);
    split(fresh.bytes, parts);
    if (keep) keep_bytes(parts);
    is_kept_[position] = static_cast<char>(keep);
    return parts;
  }

  void split(text &key, key_part *parts) const {
    std::string_view rest = key;
    for (const order_item &item : order_) {
      const std::string_view part = next_token(rest, '|');
      // It ends at a "|" or at the NUL byte after the key.
      char *const start = part.empty() ? nullptr : key.data() + (part.data() - key.data());
      if (item.type == 'D') parts->whole = parse_long(part);
      if (item.type == 'N') parts->fraction = part.empty() ? 0 : parse_fraction(part, start);
      if (item.type == 'A') {
        if (!part.empty()) recode(start, part.size(), source_charset(), charset_windows_1251);
        parts->bytes = part;
      }
      ++parts;
    }
  }

  void keep_bytes(key_part *parts) {
    for (const order_item &item : order_) {
      if (item.type == 'A') parts->bytes = kept_bytes_.keep(parts->bytes);
      ++parts;
    }
  }

  table &sorted_;
  std::string_view key_;
  std::vector<order_item> order_;
  std::vector<key_part> kept_;  // those of row 0, those of row 1, ...
  std::vector<char> is_kept_;   // by row
  byte_store kept_bytes_;
  unsigned long effects_before_;
  fresh_key fresh_[2];
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

constexpr operator_definition definitions[] = {
    {"sort", op_sort, 2, lazy, "^sort[key;order]", "Sorts the rows of the current table."},
};

}  // namespace

extern const operator_module sort_operators{"table/sort.cpp", definitions};

}  // namespace quillet
