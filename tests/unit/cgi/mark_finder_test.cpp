#include "cgi/mark_finder.h"

#include <gtest/gtest.h>

#include <string>

#include "support.h"

namespace quillet {
namespace {

std::string lowered(std::string_view bytes) {
  text copy(bytes);
  lower_in_place(copy);
  return std::string(copy.view());
}

// Three ways that must agree: by blocks, byte by byte, and the standard library's.
TEST(mark_finder, finds_the_same_by_blocks_as_byte_by_byte) {
  quillet_tests::random_texts random(21);
  constexpr std::string_view pieces[] = {"-", "-", "a", "A", "1", "aA-1", "\r\n--", "@", "`", "[", "{", "\xC1", "\xE1"};
  constexpr std::string_view long_pieces[] = {"xxxxxxxxxxxxxxxxxxxxxxx", "-", "-a1", "----------------------A", "1"};
  for (int i = 0; i < 20000; ++i) {
    const std::string mark = random.text(pieces, 6) + std::string(pieces[random.number(std::size(pieces))]);
    std::string source = random.text(pieces, 20) + random.text(long_pieces, 6);
    if (random.number(3) > 0) source += mark + random.text(pieces, 30);
    const std::size_t from = random.number(source.size() + 2);
    const mark_finder finder(mark);
    const std::size_t expected = lowered(source).find(lowered(mark), from);
    ASSERT_EQ(finder.find(source, from), expected) << testing::PrintToString(mark) << testing::PrintToString(source);
    ASSERT_EQ(finder.find_bytewise(source, from), expected);
  }
}

TEST(mark_finder, finds_a_mark_after_many_places_that_almost_are_one) {
  const std::string mark(200, 'a');
  const std::string almost = std::string(199, 'A') + "b";
  std::string source;
  for (int i = 0; i < 100; ++i) source += std::string(500, i % 2 == 0 ? '-' : 'b') + almost;
  EXPECT_EQ(mark_finder(mark).find(source, 0), std::string_view::npos);
  EXPECT_EQ(mark_finder(mark).find(source + mark, 0), source.size());
}

// Two marks that share their first and last byte with every place: comparing at each would take hours.
TEST(mark_finder, takes_linear_time_whatever_the_mark_is) {
  const std::string source(4'000'000, 'a');
  const std::string front = "a" + std::string(1'000'000, 'a') + "ba";
  const std::string back = "ab" + std::string(1'000'000, 'a') + "a";
  EXPECT_EQ(mark_finder(front).find(source, 0), std::string_view::npos);
  EXPECT_EQ(mark_finder(back).find(source, 0), std::string_view::npos);
}

}  // namespace
}  // namespace quillet
