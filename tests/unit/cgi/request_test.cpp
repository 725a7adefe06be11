#include "cgi/request.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <string>

#include "support.h"

namespace quillet {
namespace {

// The environment and the record are the process's, so each test has a process of its own.
void in_empty_environment(const std::function<void()> &body) {
  const auto child = quillet_tests::run_in_child([&body] {
    clearenv();
    body();
  });
  EXPECT_EQ(child.status, 0) << child.output << child.error;
}

int captured_length(const char *value) {
  setenv("CONTENT_LENGTH", value, 1);
  capture_environment();
  return request.content_length;
}

TEST(capture_environment, takes_a_variable_under_its_own_name) {
  in_empty_environment([] {
    setenv("SERVER_SOFTWARE", "software", 1);
    setenv("QUERY_STRING", "a=1", 1);
    setenv("DOCUMENT_ROOT", "/srv/www", 1);
    capture_environment();
    EXPECT_EQ(request.server_software, "software");
    EXPECT_EQ(request.query_string, "a=1");
    EXPECT_EQ(request.document_root, "/srv/www");
  });
}

TEST(capture_environment, keeps_the_address_as_it_was_captured) {
  in_empty_environment([] {
    setenv("REQUEST_URI", "/page.html", 1);
    capture_environment();
    EXPECT_EQ(request.captured_request_uri, "/page.html");
  });
}

TEST(capture_environment, takes_an_unset_variable_for_empty_and_never_for_null) {
  in_empty_environment([] {
    capture_environment();
    for (const std::string_view field : {request.server_software, request.query_string, request.document_root}) {
      EXPECT_EQ(field, "");
      EXPECT_NE(field.data(), nullptr);
    }
    EXPECT_EQ(request.content_length, 0);
  });
}

TEST(capture_environment, puts_the_address_in_place_of_an_unknown_host) {
  in_empty_environment([] {
    setenv("REMOTE_ADDR", "10.0.0.1", 1);
    capture_environment();
    EXPECT_EQ(request.remote_host, "10.0.0.1");
    setenv("REMOTE_HOST", "client.example", 1);
    capture_environment();
    EXPECT_EQ(request.remote_host, "client.example");
  });
}

TEST(capture_environment, reads_the_content_length_as_a_number) {
  in_empty_environment([] {
    EXPECT_EQ(captured_length("123"), 123);
    EXPECT_EQ(captured_length("-5"), -5);
    EXPECT_EQ(captured_length("12 bytes"), 12);
  });
}

TEST(capture_environment, reads_a_content_length_that_is_no_number_as_0) {
  in_empty_environment([] {
    EXPECT_EQ(captured_length(""), 0);
    EXPECT_EQ(captured_length("many"), 0);
  });
}

TEST(capture_environment, keeps_a_huge_content_length_within_its_range) {
  in_empty_environment([] {
    EXPECT_EQ(captured_length("99999999999999999999999"), INT_MAX);
    EXPECT_EQ(captured_length("-99999999999999999999999"), INT_MIN);
  });
}

TEST(request_record, answers_with_html_unless_told_otherwise) {
  EXPECT_EQ(request_record().response_content_type.view(), "text/html");
  EXPECT_FALSE(request_record().content_type_set);
  EXPECT_TRUE(request_record().print_response);
}

}  // namespace
}  // namespace quillet
