#include "cgi/cookies.h"

#include <gtest/gtest.h>

#include <string>

#include "cgi/request.h"
#include "support.h"

namespace quillet {
namespace {

// What the first look at a fresh header says, before there is an index.
std::string plain_value(const std::string &header, const std::string &name) {
  const std::string copy = header;
  request.http_cookie = copy;
  return std::string(cookie_value(name).view());
}

TEST(cookie_value, is_the_same_by_the_index_as_one_by_one) {
  quillet_tests::random_texts random(81);
  constexpr std::string_view pieces[] = {";", "; ", "=", "a", "b", "ab", "a=1", "b=x y", "%41", " ", "long-name=value"};
  for (int i = 0; i < 100; ++i) {
    const std::string header = random.text(pieces, i % 2 == 0 ? 20 : 200) + "; last=";
    const std::string names[] = {"a", "b", "ab", "", " ", "long-name", "last", "none", "1"};
    std::string expected[std::size(names)];
    for (std::size_t n = 0; n < std::size(names); ++n) expected[n] = plain_value(header, names[n]);
    request.http_cookie = header;
    for (int n = 0; n < 400; ++n) {
      const std::size_t one = random.number(std::size(names));
      ASSERT_EQ(std::string(cookie_value(names[one]).view()), expected[one]) << header << "|" << names[one];
    }
  }
  request.http_cookie = {};
}

// Going through the header for each of them would take hours.
TEST(cookie_value, takes_linear_time_for_every_one_of_many_cookies) {
  constexpr int count = 200'000;
  std::string header;
  for (int i = 0; i < count; ++i) header += "c" + std::to_string(i) + "=" + std::to_string(i) + "; ";
  request.http_cookie = header;
  for (int i = 0; i < count; ++i) {
    ASSERT_EQ(cookie_value("c" + std::to_string(i)).view(), std::to_string(i));
  }
  request.http_cookie = {};
}

}  // namespace
}  // namespace quillet
