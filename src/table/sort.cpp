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
#include "core/preparation.h"
#include "core/scanner.h"
#include "table/registry.h"

namespace quillet {

namespace {

// One item of an order such as "-N|A".
struct order_item {
  char type;  // in upper case; '\0' for none
  bool descending;
};

// Takes the items off the front of an order, up to the first one that has something other than "|" after its letter.
std::vector<order_item> take_order(std::string_view &order) {
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

// Reads the parts of a key, which may be changed. Text parts are views of it.
void split_key(text &key, std::span<const order_item> order, key_part *parts) {
  std::string_view rest = key;
  for (const order_item &item : order) {
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

// Whether the row of the key `a` comes after that of `b`.
bool comes_after(std::span<const order_item> order, const key_part *a, const key_part *b) {
  for (const order_item &item : order) {
    const int result = compare_parts(item.type, *a++, *b++);
    if (result != 0) return item.descending ? result < 0 : result > 0;
  }
  return false;
}

// Sorts by merging halves: at most n log2 n comparisons, and every row appears once in the result,
// however inconsistent the comparison is. `buffer` has room for half as many rows.
template <class row, class comparison>
void merge_sort(std::span<row> rows, row *buffer, comparison &comes_after) {
  if (rows.size() < 2) return;
  const std::size_t half = rows.size() / 2;
  merge_sort(rows.first(half), buffer, comes_after);
  merge_sort(rows.subspan(half), buffer, comes_after);
  std::copy_n(rows.begin(), half, buffer);
  const row *left = buffer;
  const row *const left_end = buffer + half;
  const row *right = rows.data() + half;
  const row *const right_end = rows.data() + rows.size();
  for (row *next = rows.data(); left != left_end; ++next) {
    const bool take_right = right != right_end && comes_after(*left, *right);
    *next = take_right ? *right : *left;
    right += take_right ? 1 : 0;
    left += take_right ? 0 : 1;
  }
}

template <class row, class comparison>
void merge_sort(std::vector<row> &rows, comparison comes_after) {
  std::vector<row> buffer(rows.size() / 2);
  merge_sort(std::span(rows), buffer.data(), comes_after);
}

// The order of the rows when their keys are evaluated whenever they are compared.
std::vector<int> sort_by_fresh_keys(table &sorted, std::string_view key, std::span<const order_item> order) {
  std::vector<int> rows(static_cast<std::size_t>(sorted.count()));
  std::iota(rows.begin(), rows.end(), 0);
  std::vector<key_part> parts_a(order.size());
  std::vector<key_part> parts_b(order.size());
  text key_a;
  text key_b;
  const auto read_key = [&](int row, text &value, std::vector<key_part> &parts) {
    value.clear();
    sorted.set_current(row);
    evaluate(key, value);
    split_key(value, order, parts.data());
  };
  merge_sort(rows, [&](int row_a, int row_b) {
    read_key(row_a, key_a, parts_a);
    read_key(row_b, key_b, parts_b);
    return comes_after(order, parts_a.data(), parts_b.data());
  });
  return rows;
}

// --- kept keys ---

// Looks for calls that may change something, those in parameters included.
struct change_finder {
  int depth_left;
  bool found = false;

  void literal(std::string_view) {}
  void call(std::string_view name, const parameters &parameters) {
    const operator_entry *const entry = find_operator(name);
    found = found || entry == nullptr || !entry->is_pure || depth_left == 0;
    for (int i = 0; i < parameters.count() && !found; ++i) {
      change_finder inside{depth_left - 1};
      scanner(parameters[i], inside).run();
      found = inside.found;
    }
  }
};

// Whether nobody can see how often the key is evaluated. A call that is nested too deep would be counted.
bool may_be_kept(std::string_view key) {
  constexpr int deepest = 16;
  if (!preparation_enabled() || call_depth() + deepest >= max_call_depth) return false;
  change_finder finder{deepest};
  scanner(key, finder).run();
  return !finder.found;
}

// The part of a key in a row that moves with it, for an order of one item.
template <class part>
struct keyed_row {
  part key;
  int row;
};

template <class part>
std::vector<int> sort_keyed_rows(std::vector<keyed_row<part>> &rows, bool descending) {
  using row = keyed_row<part>;
  if (descending) {
    merge_sort(rows, [](const row &a, const row &b) { return a.key < b.key; });
  } else {
    merge_sort(rows, [](const row &a, const row &b) { return b.key < a.key; });
  }
  std::vector<int> order(rows.size());
  std::transform(rows.begin(), rows.end(), order.begin(), [](const row &each) { return each.row; });
  return order;
}

// Evaluates each key once.
class kept_keys {
 public:
  kept_keys(table &sorted, std::string_view key, std::span<const order_item> order)
      : order_(order), count_(static_cast<std::size_t>(sorted.count())), parts_(count_ * order.size()) {
    text value;
    for (std::size_t row = 0; row < count_; ++row) {
      value.clear();
      sorted.set_current(static_cast<int>(row));
      evaluate(key, value);
      key_part *part = parts_.data() + row * order.size();
      split_key(value, order, part);
      for (const order_item &item : order) {
        if (item.type == 'A') part->bytes = bytes_.keep(part->bytes);
        ++part;
      }
    }
  }

  // The order of the rows. Numbers and texts of an order with one item lie beside their rows: a page that sorts 5,000
  // rows takes two thirds of the instructions.
  [[nodiscard]] std::vector<int> sort() const {
    if (order_.size() == 1 && order_[0].type == 'N') return sort_by(&key_part::fraction);
    if (order_.size() == 1 && order_[0].type == 'D') return sort_by(&key_part::whole);
    if (order_.size() == 1 && order_[0].type == 'A') return sort_by(&key_part::bytes);
    std::vector<int> rows(count_);
    std::iota(rows.begin(), rows.end(), 0);
    merge_sort(rows, [this](int a, int b) { return comes_after(order_, parts_of(a), parts_of(b)); });
    return rows;
  }

 private:
  [[nodiscard]] const key_part *parts_of(int row) const {
    return parts_.data() + static_cast<std::size_t>(row) * order_.size();
  }
  template <class part>
  [[nodiscard]] std::vector<int> sort_by(part key_part::*member) const {
    std::vector<keyed_row<part>> rows(count_);
    for (std::size_t i = 0; i < count_; ++i) rows[i] = {parts_[i].*member, static_cast<int>(i)};
    return sort_keyed_rows(rows, order_[0].descending);
  }

  std::span<const order_item> order_;
  std::size_t count_;
  std::vector<key_part> parts_;  // those of row 0, those of row 1, ...
  byte_store bytes_;
};

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
  const loop_scope loop(parameters[0]);
  const int count = sorted->count();
  std::string_view rest = order;
  const std::vector<order_item> items = take_order(rest);
  const std::vector<int> rows = may_be_kept(parameters[0]) ? kept_keys(*sorted, parameters[0], items).sort()
                                                           : sort_by_fresh_keys(*sorted, parameters[0], items);
  if (sorted->count() == count) sorted->reorder(rows);
  sorted->set_current(0);
}

constexpr operator_definition definitions[] = {
    {"sort", op_sort, 2, lazy, "^sort[key;order]", "Sorts the rows of the current table."},
};

}  // namespace

bool is_sort_order(std::string_view order) {
  const std::vector<order_item> items = take_order(order);
  return order.empty() && std::all_of(items.begin(), items.end(), [](const order_item &item) {
           return item.type == 'D' || item.type == 'N' || item.type == 'A';
         });
}

extern const operator_module sort_operators{"table/sort.cpp", definitions};

}  // namespace quillet
