#include "cgi/request.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <string>

#include "support.h"

namespace quillet {
namespace {

struct captured_field {
  const char *name;
  std::string_view request_record::*field;
};

constexpr captured_field fields[] = {
    {"SERVER_SOFTWARE", &request_record::server_software},
    {"SERVER_NAME", &request_record::server_name},
    {"GATEWAY_INTERFACE", &request_record::gateway_interface},
    {"SERVER_PROTOCOL", &request_record::server_protocol},
    {"SERVER_PORT", &request_record::server_port},
    {"REQUEST_METHOD", &request_record::request_method},
    {"REQUEST_URI", &request_record::captured_request_uri},
    {"PATH_INFO", &request_record::path_info},
    {"PATH_TRANSLATED", &request_record::path_translated},
    {"SCRIPT_NAME", &request_record::script_name},
    {"QUERY_STRING", &request_record::query_string},
    {"REMOTE_ADDR", &request_record::remote_addr},
    {"REMOTE_HOST", &request_record::remote_host},
    {"AUTH_TYPE", &request_record::auth_type},
    {"REMOTE_USER", &request_record::remote_user},
    {"REMOTE_IDENT", &request_record::remote_ident},
    {"CONTENT_TYPE", &request_record::content_type},
    {"HTTP_ACCEPT", &request_record::http_accept},
    {"HTTP_USER_AGENT", &request_record::http_user_agent},
    {"HTTP_REFERER", &request_record::http_referer},
    {"HTTP_COOKIE", &request_record::http_cookie},
    {"DOCUMENT_ROOT", &request_record::document_root},
};

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

TEST(capture_environment, takes_each_variable_of_the_same_name) {
  in_empty_environment([] {
    for (const captured_field &row : fields) setenv(row.name, (std::string("value of ") + row.name).c_str(), 1);
    capture_environment();
    for (const captured_field &row : fields) EXPECT_EQ(request.*row.field, std::string("value of ") + row.name);
  });
}

TEST(capture_environment, takes_an_unset_variable_for_empty_and_never_for_null) {
  in_empty_environment([] {
    capture_environment();
    for (const captured_field &row : fields) {
      EXPECT_EQ(request.*row.field, "") << row.name;
      EXPECT_NE((request.*row.field).data(), nullptr) << row.name;
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
