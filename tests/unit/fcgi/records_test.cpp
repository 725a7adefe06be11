#include "fcgi/records.h"

#include <gtest/gtest.h>

namespace quillet {

namespace {

std::string head_bytes(record_type type, unsigned request, std::size_t size) {
  std::string bytes(record_head_size, 'x');
  write_record_head(bytes.data(), type, request, size);
  return bytes;
}

// The variables that a content has; "broken" at its end where that is what the reader says.
std::vector<std::string> variables_of(std::string content) {
  std::vector<char *> found;
  const bool is_whole = read_variables(content, found);
  std::vector<std::string> variables(found.begin(), found.end());
  if (!is_whole) variables.emplace_back("broken");
  return variables;
}

using list = std::vector<std::string>;
using namespace std::string_literals;

}  // namespace

TEST(records, a_head_is_read_as_it_was_written) {
  const record_head head = read_record_head(head_bytes(record_type::output, 0xfedc, 0xba98).data());
  EXPECT_EQ(head.version, 1);
  EXPECT_EQ(head.type, record_type::output);
  EXPECT_EQ(head.request, 0xfedcU);
  EXPECT_EQ(head.size, 0xba98U);
  EXPECT_EQ(head.padding, 0U);
}

TEST(records, a_head_has_its_bytes_in_their_order) {
  EXPECT_EQ(head_bytes(record_type::input, 0x0102, 0x0304), "\1\5\1\2\3\4\0\0"s);
  EXPECT_EQ(read_record_head("\1\5\1\2\3\4\xff\0").padding, 255U);
}

TEST(records, the_beginning_of_a_request) {
  const request_beginning beginning = read_beginning("\0\1\1\0\0\0\0\0"s);
  EXPECT_EQ(beginning.role, responder);
  EXPECT_TRUE(beginning.keep_connection);
  EXPECT_FALSE(read_beginning("\1\1\2\0\0\0\0\0"s).keep_connection);
  EXPECT_EQ(read_beginning("\1\1\0\0\0\0\0\0"s).role, 0x101U);
  EXPECT_EQ(read_beginning("\0\1\1\0\0\0\0"s).role, 0U);
}

TEST(records, the_end_of_a_request) {
  EXPECT_EQ(end_record(0x102, 0xfd, end_of_request::complete), "\1\3\1\2\0\x8\0\0\0\0\0\xfd\0\0\0\0"s);
  EXPECT_EQ(end_record(1, 0, end_of_request::unknown_role)[12], 3);
}

TEST(records, variables_with_short_and_long_lengths) {
  const std::string value(200, 'v');
  EXPECT_EQ(variables_of("\1\2Abc\2\0De"s), (list{"A=bc", "De="}));
  EXPECT_EQ(variables_of("\1\x80\0\0\xc8"s + "A" + value), (list{"A=" + value}));
  EXPECT_EQ(variables_of("\x80\0\0\1\x80\0\0\1AbC"s), (list{"A=b", "broken"}));
  EXPECT_EQ(variables_of("\0\0\0\1x"s), (list{"=", "=x"}));
  EXPECT_EQ(variables_of(""), list{});
}

TEST(records, lengths_that_say_more_than_there_is) {
  for (const std::string &content :
       {"\1"s, "\1\1"s, "\1\1A"s, "\x80"s, "\x80\0\0"s, "\xff\xff\xff\xff"s, "\xff\xff\xff\xff\xff\xff\xff\xff"s,
        "\2\xff\xff\xff\xff"
        "AB"s,
        "\x80\0\0\3\1AB"s}) {
    EXPECT_EQ(variables_of(content), list{"broken"}) << testing::PrintToString(content);
  }
}

TEST(records, values_that_a_web_server_asks_for) {
  EXPECT_EQ(values_record("\xe\0FCGI_MAX_CONNS\xf\0FCGI_MPXS_CONNS\5\0OTHER"s, 64),
            "\1\xa\0\0\0\x24\0\0\xe\2FCGI_MAX_CONNS64\xf\1FCGI_MPXS_CONNS0"s);
  EXPECT_EQ(values_record("\xff", 64), "\1\xa\0\0\0\0\0\0"s);
}

}  // namespace quillet
