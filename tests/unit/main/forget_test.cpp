#include <gtest/gtest.h>

#include <string>

#include "cgi/charset.h"
#include "cgi/cookies.h"
#include "cgi/form.h"
#include "cgi/request.h"
#include "core/evaluator.h"
#include "core/variables.h"
#include "main/modules.h"
#include "support.h"

namespace quillet {
namespace {

using namespace std::string_view_literals;

// A page that shows what it finds, changes all of it, and shows it again.
constexpr std::string_view page =
    "^color[a;b] ^var[v] ^item[count] ^macro_exists[m] ^form[f] ^toupper[\xE0];"
    "^var[v;1] ^config[x] ^macro_new[m;body] ^optimize[no] ^header[content-type;text/plain] ^unknown[]"
    "^color[a;b] ^var[v] ^item[count] ^macro_exists[m] ^context[other]";

TEST(forget_request, lets_a_page_find_what_the_first_one_found) {
  register_all_operators();
  const text first = evaluate_copy(page);
  EXPECT_NE(evaluate_copy(page).view(), first.view());
  forget_request();
  EXPECT_EQ(evaluate_copy(page).view(), first.view());
}

TEST(forget_request, forgets_the_calls_that_stay_counted) {
  register_all_operators();
  static_cast<void>(evaluate("^unknown[]"));
  EXPECT_EQ(call_depth(), 1);
  forget_request();
  EXPECT_EQ(call_depth(), 0);
}

TEST(forget_request, forgets_the_request_and_its_form) {
  request.page_path = text("/www/page.html"sv);
  request.print_response = false;
  ASSERT_TRUE(add_form_entry({"f", "value", ""}));
  ASSERT_TRUE(find_form_entry("f"));
  forget_request();
  EXPECT_TRUE(request.page_path.is_null());
  EXPECT_TRUE(request.print_response);
  EXPECT_EQ(request.response_content_type.view(), "text/html");
  EXPECT_TRUE(form_entries().empty());
  EXPECT_FALSE(find_next_form_entry());
}

TEST(forget_request, forgets_the_cookies_that_it_has_an_index_of) {
  std::string header = "name=old; " + std::string(1000, 'x') + "=1";
  request.http_cookie = header;
  for (int i = 0; i < 100; ++i) static_cast<void>(cookie_value("none"));
  EXPECT_EQ(cookie_value("name").view(), "old");
  forget_request();
  header.replace(5, 3, "new");
  request.http_cookie = header;
  EXPECT_EQ(cookie_value("name").view(), "new");
}

TEST(forget_request, forgets_the_charsets) {
  const auto child = quillet_tests::run_in_child([] {
    setenv("CHARSET", "windows-1251", 1);
    setenv("SOURCE_CHARSET", "koi8-r", 1);
    read_charsets();
    forget_request();
    EXPECT_EQ(source_charset(), charset_none);
    EXPECT_EQ(output_charset(), charset_none);
  });
  EXPECT_EQ(child.status, 0) << child.output;
}

}  // namespace
}  // namespace quillet
