#include "fcgi/connection.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <memory>

namespace quillet {

namespace {

using namespace std::string_literals;

std::string record(record_type type, const std::string &content, unsigned request = 1, std::size_t padding = 0) {
  std::string bytes(record_head_size, '\0');
  write_record_head(bytes.data(), type, request, content.size());
  bytes[6] = static_cast<char>(padding);
  return bytes + content + std::string(padding, 'p');
}

const std::string as_responder = "\0\1\0\0\0\0\0\0"s;
const std::string begin = record(record_type::begin_request, as_responder);
const std::string variable = record(record_type::parameters, "\1\2Abc"s);
const std::string end_of_variables = record(record_type::parameters, "");
const std::string end_of_body = record(record_type::input, "");
const std::string end_of_output = record(record_type::output, "");
const std::string head = begin + variable + end_of_variables;

// A connection and the web server's end of it.
class connected : public testing::Test {
 protected:
  connected() {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    connection->open(ends[0], 7);
    web_server = ends[1];
  }
  ~connected() override { close(web_server); }

  // Sends the bytes, and nothing after them.
  void send_all(const std::string &bytes) const {
    ASSERT_EQ(send(web_server, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    shutdown(web_server, SHUT_WR);
  }
  bool reads(const std::string &bytes) {
    send_all(bytes);
    return connection->read_request();
  }
  std::string body() {
    std::string bytes(300000, '\0');
    bytes.resize(connection->read_body(bytes.data(), bytes.size()));
    return bytes;
  }
  // What the web server got, after the connection has ended.
  [[nodiscard]] std::string answer() const {
    std::string bytes;
    char piece[65536];
    for (ssize_t n; (n = recv(web_server, piece, sizeof piece, 0)) > 0;) bytes.append(piece, static_cast<size_t>(n));
    return bytes;
  }

  std::unique_ptr<fastcgi_connection> connection = std::make_unique<fastcgi_connection>();
  int web_server = -1;
};

}  // namespace

TEST_F(connected, a_request_without_a_body) {
  ASSERT_TRUE(reads(head + end_of_body));
  ASSERT_EQ(connection->variables().size(), 1U);
  EXPECT_STREQ(connection->variables()[0], "A=bc");
  EXPECT_TRUE(connection->has_no_more_body());
  EXPECT_EQ(body(), "");
}

TEST_F(connected, what_is_read_ahead_is_not_lost) {
  ASSERT_TRUE(reads(head + record(record_type::input, "abc") + end_of_body));
  EXPECT_FALSE(connection->has_no_more_body());
  EXPECT_EQ(body(), "abc");
  EXPECT_TRUE(connection->has_no_more_body());
}

TEST_F(connected, a_body_in_pieces_with_padding) {
  const std::string piece(20000, 'b');
  ASSERT_TRUE(reads(record(record_type::begin_request, as_responder, 1, 255) +
                    record(record_type::parameters, "\1\2A"s, 1, 3) + record(record_type::parameters, "bc", 1, 1) +
                    record(record_type::parameters, "", 1, 9) + record(record_type::input, piece, 1, 7) +
                    record(record_type::input, "c", 1, 255) + record(record_type::input, "", 1, 8)));
  EXPECT_STREQ(connection->variables()[0], "A=bc");
  EXPECT_EQ(body(), piece + "c");
}

TEST_F(connected, a_body_that_is_read_byte_by_byte) {
  ASSERT_TRUE(reads(head + record(record_type::input, "ab") + record(record_type::input, "c") + end_of_body));
  char bytes[4] = {};
  for (int k = 0; k < 3; ++k) EXPECT_EQ(connection->read_body(bytes + k, 1), 1U);
  EXPECT_EQ(connection->read_body(bytes + 3, 1), 0U);
  EXPECT_STREQ(bytes, "abc");
}

TEST_F(connected, a_body_that_breaks_off) {
  ASSERT_TRUE(reads(head + record(record_type::input, "abc").substr(0, 10)));
  EXPECT_EQ(body(), "ab");
  EXPECT_TRUE(connection->has_no_more_body());
}

TEST_F(connected, a_body_that_is_aborted) {
  ASSERT_TRUE(reads(head + record(record_type::input, "abc") + record(record_type::abort_request, "") +
                    record(record_type::input, "def") + end_of_body));
  EXPECT_EQ(body(), "abc");
  EXPECT_EQ(body(), "");
}

TEST_F(connected, a_request_that_is_aborted_before_it_is_there) {
  EXPECT_FALSE(reads(begin + variable + record(record_type::abort_request, "")));
  EXPECT_EQ(answer(), end_record(1, 0, end_of_request::complete));
  EXPECT_FALSE(connection->is_open());
}

TEST_F(connected, another_role_is_refused) {
  EXPECT_FALSE(reads(record(record_type::begin_request, "\0\2\0\0\0\0\0\0"s) + variable));
  EXPECT_EQ(answer(), end_record(1, 0, end_of_request::unknown_role));
}

TEST_F(connected, a_web_server_that_keeps_the_connection_may_ask_again_after_another_role) {
  EXPECT_TRUE(reads(record(record_type::begin_request, "\0\3\1\0\0\0\0\0"s, 2) +
                    record(record_type::parameters, "\1\1Xy"s, 2) + record(record_type::parameters, "", 2) + head));
  EXPECT_EQ(connection->variables().size(), 1U);
}

TEST_F(connected, a_second_request_at_the_same_time_is_refused) {
  ASSERT_TRUE(reads(begin + record(record_type::begin_request, as_responder, 2) + variable +
                    record(record_type::parameters, "\1\1Xy"s, 2) + end_of_variables +
                    record(record_type::input, "of 2", 2) + record(record_type::input, "of 1") + end_of_body));
  EXPECT_EQ(connection->variables().size(), 1U);
  EXPECT_EQ(body(), "of 1");
  connection->finish(0);
  EXPECT_EQ(answer(), end_record(2, 0, end_of_request::cannot_multiplex) + end_of_output +
                          end_record(1, 0, end_of_request::complete));
}

TEST_F(connected, records_about_the_connection) {
  ASSERT_TRUE(reads(record(record_type::get_values, "\xe\0FCGI_MAX_CONNS"s, 0) + begin +
                    record(static_cast<record_type>(77), "what", 0) + variable + end_of_variables + end_of_body));
  connection->finish(0);
  EXPECT_EQ(answer(), values_record("\xe\0FCGI_MAX_CONNS"s, 7) + unknown_type_record(static_cast<record_type>(77)) +
                          end_of_output + end_record(1, 0, end_of_request::complete));
}

TEST_F(connected, what_is_no_request) {
  const std::string long_values(2000, '\0');
  for (const std::string &bytes :
       {""s, "GET / HTTP/1.0\r\n\r\n"s, std::string(100, '\0'), std::string(100, '\xff'), begin, begin + variable,
        begin + begin + head, record(record_type::begin_request, ""), variable + end_of_variables,
        begin + record(record_type::input, "x") + end_of_variables, begin + record(record_type::output, ""),
        begin + record(record_type::parameters, "\xff\xff\xff\xff"s) + end_of_variables,
        record(record_type::get_values, long_values, 0) + head, head.substr(0, head.size() - 1)}) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    ASSERT_EQ(send(ends[1], bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    shutdown(ends[1], SHUT_WR);
    fastcgi_connection bad;
    bad.open(ends[0], 1);
    EXPECT_FALSE(bad.read_request()) << testing::PrintToString(bytes);
    EXPECT_FALSE(bad.is_open());
    close(ends[1]);
  }
}

TEST_F(connected, variables_have_a_limit) {
  std::string bytes = begin;
  for (int k = 0; k < 3; ++k) bytes += record(record_type::parameters, std::string(60000, '\0'));
  int room = 4000000;
  setsockopt(web_server, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
  EXPECT_TRUE(reads(bytes + end_of_variables));
  EXPECT_EQ(connection->variables().size(), 90000U);
}

TEST_F(connected, a_small_response_is_one_piece) {
  ASSERT_TRUE(reads(head + end_of_body));
  EXPECT_EQ(connection->write("ab"), 2U);
  EXPECT_EQ(connection->write("c"), 1U);
  char byte = 0;
  EXPECT_EQ(recv(web_server, &byte, 1, MSG_DONTWAIT), -1);
  connection->finish(253);
  EXPECT_EQ(answer(),
            record(record_type::output, "abc") + end_of_output + end_record(1, 253, end_of_request::complete));
}

TEST_F(connected, a_large_response) {
  ASSERT_TRUE(reads(head + end_of_body));
  const std::string large(70000, 'l');
  EXPECT_EQ(connection->write("a"), 1U);
  EXPECT_EQ(connection->write(large), large.size());
  connection->finish(0);
  EXPECT_EQ(answer(), record(record_type::output, "a" + large.substr(0, 65534)) +
                          record(record_type::output, large.substr(65534)) + end_of_output +
                          end_record(1, 0, end_of_request::complete));
}

TEST_F(connected, the_rest_of_a_large_response_waits_for_its_end) {
  ASSERT_TRUE(reads(head + end_of_body));
  EXPECT_EQ(connection->write(std::string(70000, 'l')), 70000U);
  std::string sent(100000, '\0');
  EXPECT_EQ(recv(web_server, sent.data(), sent.size(), MSG_DONTWAIT), 8 + 65535);
  EXPECT_EQ(recv(web_server, sent.data(), sent.size(), MSG_DONTWAIT), -1);
  connection->finish(0);
  EXPECT_EQ(answer(), record(record_type::output, std::string(70000 - 65535, 'l')) + end_of_output +
                          end_record(1, 0, end_of_request::complete));
}

TEST_F(connected, a_response_in_pieces_of_any_size) {
  ASSERT_TRUE(reads(head + end_of_body));
  std::string all;
  for (const std::size_t size : {32768, 1, 20000, 20000, 32767, 1, 32769}) {
    const std::string piece(size, static_cast<char>('a' + all.size() % 26));
    EXPECT_EQ(connection->write(piece), size);
    all += piece;
  }
  connection->finish(0);
  const std::string answered = answer();
  std::string output;
  for (std::size_t at = 0; at < answered.size();) {
    const record_head next = read_record_head(answered.data() + at);
    at += record_head_size;
    if (next.type == record_type::output) output += answered.substr(at, next.size);
    at += next.size;
  }
  EXPECT_TRUE(output == all);
}

TEST_F(connected, what_goes_to_the_log_of_the_web_server) {
  ASSERT_TRUE(reads(head + end_of_body));
  connection->write_error("oh");
  connection->write("page");
  connection->finish(0);
  EXPECT_EQ(answer(), record(record_type::errors, "oh") + record(record_type::output, "page") + end_of_output +
                          record(record_type::errors, "") + end_record(1, 0, end_of_request::complete));
}

TEST_F(connected, a_web_server_that_has_gone_is_noticed) {
  ASSERT_TRUE(reads(head + end_of_body));
  signal(SIGPIPE, SIG_IGN);
  shutdown(web_server, SHUT_RD);
  EXPECT_EQ(connection->write(std::string(100000, 'x')), 0U);
  EXPECT_EQ(connection->write("x"), 0U);
  connection->finish(0);
}

TEST_F(connected, a_response_arrives_though_nobody_read_the_body) {
  ASSERT_TRUE(reads(head + record(record_type::input, std::string(60000, 'b')) + end_of_body));
  connection->write("refused");
  connection->finish(0);
  EXPECT_EQ(answer(),
            record(record_type::output, "refused") + end_of_output + end_record(1, 0, end_of_request::complete));
}

TEST_F(connected, nothing_is_left_for_the_next_one) {
  ASSERT_TRUE(reads(head + record(record_type::input, "rest")));
  connection->write_error("oh");
  connection->write("page");
  connection->finish(0);
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  connection->open(ends[0], 7);
  close(web_server);
  web_server = ends[1];
  ASSERT_TRUE(reads(begin + record(record_type::parameters, "\1\1Xy"s) + end_of_variables + end_of_body));
  EXPECT_EQ(connection->variables().size(), 1U);
  EXPECT_EQ(body(), "");
  connection->finish(0);
  EXPECT_EQ(answer(), end_of_output + end_record(1, 0, end_of_request::complete));
}

}  // namespace quillet
