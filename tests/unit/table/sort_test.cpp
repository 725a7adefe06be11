#include "table/sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/evaluator.h"
#include "core/preparation.h"
#include "main/modules.h"
#include "support.h"
#include "table/registry.h"

namespace quillet {
namespace {

// The rows in the order in which `sort` puts them.
std::string sorted(const std::string &rows, std::string_view order) {
  register_all_operators();
  put_table(std::make_unique<table>(std::string_view(rows)));
  const text page(std::string("^sort[^item[0];") + std::string(order) + "]");
  EXPECT_TRUE(evaluate_copy(page).is_null());
  return std::string(current_table()->serialise().view());
}

std::string joined(const std::vector<std::string> &rows) {
  std::string result;
  for (const std::string &row : rows) result += row + "\n";
  return result;
}

TEST(sort, reads_decimal_fractions_as_the_c_library_does) {
  quillet_tests::random_texts random(61);
  constexpr std::string_view pieces[] = {"0",  "1", "9",  "25", "123456", ".",    "-",   "+",
                                         "e1", " ", "0x", "99", "00",     "inf ", "nan", "7"};
  for (int i = 0; i < 300; ++i) {
    std::vector<std::string> rows;
    for (int n = 0; n < 40; ++n) rows.push_back(random.text(pieces, n % 3 == 0 ? 9 : 4) + "x");
    for (std::string &row : rows) row.resize(row.size() - (random.number(3) == 0 ? 0 : 1));
    std::erase_if(rows, [](const std::string &row) { return row.empty() || row.find("nan") != std::string::npos; });
    const std::string before = joined(rows);
    std::stable_sort(rows.begin(), rows.end(), [](const std::string &a, const std::string &b) {
      return std::strtod(a.c_str(), nullptr) < std::strtod(b.c_str(), nullptr);
    });
    ASSERT_EQ(sorted(before, "N"), joined(rows));
  }
}

TEST(sort, by_kept_keys_gives_the_same_as_by_fresh_ones) {
  quillet_tests::random_texts random(62);
  constexpr std::string_view pieces[] = {"|", "|", "a", "B", "10", "9", "-3", "2.5", "\xE1", " ", "word", "nan"};
  constexpr std::string_view orders[] = {"N",  "-D|A", "A|-N", "A|D|N", "-A|X|D", "D|", "",   "+D|-A",
                                         "DA", "a|n",  "-N",   "D",     "-d",     "A",  "-A", "X"};
  for (int i = 0; i < 500; ++i) {
    std::string rows;
    for (std::size_t n = random.number(60); n > 0; --n)
      rows += random.text(pieces, 7) + "\t" + std::to_string(n) + "\n";
    const std::string_view order = orders[random.number(std::size(orders))];
    const std::string kept = sorted(rows, order);
    enable_preparation(false);
    const std::string fresh = sorted(rows, order);
    enable_preparation(true);
    ASSERT_EQ(kept, fresh) << order;
  }
}

// A call that is refused stays counted, so that it matters how often a key is
// evaluated.
TEST(sort, keeps_no_keys_near_the_depth_limit) {
  register_all_operators();
  const auto depth_after = [](int levels, bool prepared) {
    enable_preparation(prepared);
    put_table(std::make_unique<table>("3\n1\n2\n5\n4\n"));
    std::string page = "^sort[^item[^item[^item[0]]];N]";
    for (int i = 0; i < levels; ++i) page = "^eq[;;" + page + "]";
    static_cast<void>(evaluate_copy(page));
    const int depth = call_depth();
    forget_calls();
    enable_preparation(true);
    return depth;
  };
  for (const int levels : {975, 983, 994, 995, 996, 997, 998}) {
    EXPECT_EQ(depth_after(levels, true), depth_after(levels, false)) << levels;
  }
  EXPECT_GT(depth_after(max_call_depth - 3, true), 0);
}

TEST(is_sort_order, wants_every_letter_to_mean_something) {
  for (const std::string_view order : {"A", "+A", "-n|d", "D|", ""}) EXPECT_TRUE(is_sort_order(order)) << order;
  for (const std::string_view order : {"X", "AB", "A;D", "-", "A|x", "name", " A"}) {
    EXPECT_FALSE(is_sort_order(order)) << order;
  }
}

}  // namespace
}  // namespace quillet
