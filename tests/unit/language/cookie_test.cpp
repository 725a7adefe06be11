#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "core/evaluator.h"
#include "main/modules.h"
#include "support.h"

namespace quillet {
namespace {

// How far ahead of now the line that the call sends says the cookie ends, in seconds.
long long seconds_ahead(const std::string &call) {
  const std::time_t now = std::time(nullptr);
  const auto child = quillet_tests::run_in_child([&call] {
    register_all_operators();
    text out;
    evaluate(call, out);
  });
  const std::size_t at = child.output.find("; expires=");
  EXPECT_NE(at, std::string::npos) << child.output;
  std::tm end{};
  const char *rest = strptime(child.output.c_str() + at, "; expires=%a, %d-%b-%Y %H:%M:%S GMT\n", &end);
  EXPECT_TRUE(rest != nullptr && *rest == '\0') << child.output;
  const int week_day = end.tm_wday;
  const std::time_t time = timegm(&end);
  EXPECT_EQ(end.tm_wday, week_day);
  return time - now;
}

void expect_days(const std::string &call, int days) {
  const long long ahead = seconds_ahead(call);
  EXPECT_GE(ahead, days * 86400LL) << call;
  EXPECT_LE(ahead, days * 86400LL + 60) << call;
}

TEST(cookie, lasts_90_days_when_none_are_said) { expect_days("^cookie[a;b]", 90); }

TEST(cookie, lasts_as_many_days_as_are_said) {
  expect_days("^cookie[a;b;1]", 1);
  expect_days("^cookie[a;b; +30 days]", 30);
  expect_days("^cookie[a;b;10000]", 10000);
}

TEST(cookie, of_negative_days_has_ended) {
  expect_days("^cookie[a;b;-1]", -1);
  expect_days("^cookie[a;b;-10000]", -10000);
}

TEST(cookie, names_days_and_months_in_english) {
  constexpr const char *week_days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr const char *months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const auto child = quillet_tests::run_in_child([] {
    register_all_operators();
    text out;
    for (int day = 1; day <= 366; ++day) evaluate("^cookie[a;b;" + std::to_string(day) + "]", out);
  });
  std::size_t lines = 0;
  for (std::size_t at = 0; (at = child.output.find("expires=", at)) != std::string::npos; ++lines) {
    at += std::string("expires=").size();
    std::tm end{};
    ASSERT_NE(strptime(child.output.c_str() + at, "%a, %d-%b-%Y", &end), nullptr);
    EXPECT_EQ(child.output.substr(at, 3), week_days[end.tm_wday]);
    EXPECT_EQ(child.output.substr(at + 8, 3), months[end.tm_mon]);
  }
  EXPECT_EQ(lines, 366U);
}

TEST(cookie, ends_at_a_time_of_the_same_zone_everywhere) {
  setenv("TZ", "XYZ-5", 1);
  expect_days("^cookie[a;b;1]", 1);
  unsetenv("TZ");
}

}  // namespace
}  // namespace quillet
