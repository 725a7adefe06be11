#include "cgi/log.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

#include "cgi/request.h"
#include "core/end.h"
#include "support.h"

namespace quillet {
namespace {

using namespace std::string_view_literals;
using quillet_tests::child_result;
using quillet_tests::file_content;
using quillet_tests::log_content;
using quillet_tests::run_in_child;
using quillet_tests::temporary_folder;
using quillet_tests::write_file;

TEST(log_message, appends_a_line_to_the_log_of_its_number) {
  const temporary_folder folder;
  log_message(access_log, "one %d", 1);
  log_message(error_log, "two %s", "2");
  log_message(error_log, "three");
  EXPECT_EQ(log_content("access_log"), "[time] [path=null]: one 1\n");
  EXPECT_EQ(log_content("error_log"), "[time] [path=null]: two 2\n[time] [path=null]: three\n");
}

TEST(log_message, looks_at_bit_0_of_the_number_only) {
  const temporary_folder folder;
  log_message(2, "even");
  log_message(-1, "odd");
  EXPECT_EQ(log_content("access_log"), "[time] [path=null]: even\n");
  EXPECT_EQ(log_content("error_log"), "[time] [path=null]: odd\n");
}

TEST(log_message, shows_the_page_path_once_it_is_known) {
  const temporary_folder folder;
  request.page_path = text("/home/www/page.html"sv);
  log_message(error_log, "message");
  request.page_path = text();
  EXPECT_EQ(log_content("error_log"), "[time] /home/www/page.html: message\n");
}

TEST(log_message, before_the_page_path_is_known_or_with_an_empty_one_says_so) {
  const temporary_folder folder;
  log_message(error_log, "message");
  request.page_path = text(""sv);
  log_message(error_log, "message");
  request.page_path = text();
  EXPECT_EQ(log_content("error_log"), "[time] [path=null]: message\n[time] [path=null]: message\n");
}

TEST(log_message, begins_with_the_local_time) {
  const temporary_folder folder;
  const auto child = run_in_child([] {
    setenv("TZ", "XXX-14", 1);
    tzset();
    const std::time_t before = std::time(nullptr);
    log_message(error_log, "message");
    const std::time_t after = std::time(nullptr);
    const std::string line = file_content("error_log");
    std::string expected[2];
    for (int i = 0; i < 2; ++i) {
      const std::time_t local = (i == 0 ? before : after) + 14 * 3600;
      char shown[64];
      std::strftime(shown, sizeof shown, "[%d/%b/%Y %H:%M:%S] [path=null]: message\n", std::gmtime(&local));
      expected[i] = shown;
    }
    EXPECT_TRUE(line == expected[0] || line == expected[1] || before + 1 < after) << line;
  });
  EXPECT_EQ(child.status, 0) << child.output;
}

TEST(log_message, cuts_a_line_to_1023_bytes_with_its_line_feed) {
  const temporary_folder folder;
  log_message(error_log, "%s", std::string(5000, 'm').c_str());
  const std::string prefix = "[01/Jan/1970 00:00:00] [path=null]: ";
  const std::string line = file_content("error_log");
  EXPECT_EQ(line.size(), 1023U);
  EXPECT_EQ(line.substr(prefix.size()), std::string(1022 - prefix.size(), 'm') + "\n");
}

TEST(log_message, has_blanks_in_place_of_control_bytes) {
  const temporary_folder folder;
  request.page_path = text("/a\nb"sv);
  log_message(error_log, "one\n[two]\t\x1b\x7f\r\xff");
  request.page_path = text();
  EXPECT_EQ(log_content("error_log"), "[time] /a b: one [two]    \xff\n");
}

TEST(log_message, keeps_the_line_feed_of_a_line_of_exactly_1023_bytes) {
  const temporary_folder folder;
  const std::size_t prefix = "[01/Jan/1970 00:00:00] [path=null]: "sv.size();
  log_message(error_log, "%s", std::string(1022 - prefix, 'm').c_str());
  EXPECT_EQ(file_content("error_log").size(), 1023U);
  EXPECT_EQ(file_content("error_log").back(), '\n');
}

TEST(log_message, cuts_a_page_path_that_fills_the_line) {
  const temporary_folder folder;
  request.page_path = text(std::string(3000, 'p'));
  log_message(error_log, "never seen");
  request.page_path = text();
  EXPECT_EQ(file_content("error_log").size(), 1023U);
  EXPECT_EQ(file_content("error_log").back(), '\n');
}

TEST(log_message, without_a_format_makes_the_file_and_writes_nothing) {
  const temporary_folder folder;
  log_message(access_log, nullptr);
  EXPECT_EQ(file_content("access_log"), "");
}

TEST(log_message, keeps_what_the_log_holds) {
  const temporary_folder folder;
  write_file("error_log", "older line\n");
  log_message(error_log, "newer");
  EXPECT_EQ(log_content("error_log"), "older line\n[time] [path=null]: newer\n");
}

TEST(log_message, makes_the_file_with_mode_666_less_the_process_mask) {
  const temporary_folder folder;
  const mode_t before = umask(2);
  log_message(error_log, "message");
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat("error_log", &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0664U);
}

TEST(log_message, goes_to_standard_error_when_the_log_cannot_be_opened) {
  const temporary_folder folder;
  std::filesystem::create_directory("error_log");
  const child_result child = run_in_child([] { log_message(error_log, "message"); });
  write_file("error", child.error);
  EXPECT_EQ(log_content("error"), "[time] [path=null]: message\n");
  EXPECT_EQ(child.output, "");
}

TEST(log_message, goes_to_standard_error_when_the_log_is_a_pipe_that_nobody_reads) {
  const temporary_folder folder;
  ASSERT_EQ(mkfifo("error_log", 0600), 0);
  const child_result child = run_in_child([] { log_message(error_log, "message"); });
  write_file("error", child.error);
  EXPECT_EQ(log_content("error"), "[time] [path=null]: message\n");
}

TEST(log_message, shows_a_percent_sign_of_its_arguments_as_it_is) {
  const temporary_folder folder;
  log_message(error_log, "%s", "%s%n%d");
  EXPECT_EQ(log_content("error_log"), "[time] [path=null]: %s%n%d\n");
}

// --- the ends of a request ---

TEST(log_last_message, has_fatal_leave_its_message_in_the_error_log) {
  const temporary_folder folder;
  const child_result child = run_in_child([] {
    log_last_message();
    fatal("no %s left", "room");
  });
  EXPECT_EQ(child.status, 254);
  EXPECT_EQ(child.output, "");
  EXPECT_EQ(child.error, "");
  EXPECT_EQ(log_content("error_log"), "[time] [path=null]: no room left\n");
}

TEST(error_page, writes_one_page_logs_two_lines_and_ends_with_status_253) {
  const temporary_folder folder;
  const child_result child = run_in_child([] {
    setenv("REMOTE_ADDR", "10.1.2.3", 1);
    request.page_path = text("/www/page.html"sv);
    error_page("unable to print %s", "/www/page.html");
  });
  EXPECT_EQ(child.status, 253);
  EXPECT_EQ(child.output,
            "Content-type: text/html\n\n"
            "<html><head><title>Error!</title></head><body bgcolor=white><h2>\n"
            "unable to print /www/page.html"
            "</h2></body></html>");
  EXPECT_EQ(log_content("error_log"),
            "[time] /www/page.html: script error by host 10.1.2.3\n"
            "[time] /www/page.html: unable to print /www/page.html\n");
}

TEST(error_page, without_an_address_logs_null) {
  const temporary_folder folder;
  const child_result child = run_in_child([] {
    unsetenv("REMOTE_ADDR");
    error_page("illegal call");
  });
  EXPECT_EQ(child.status, 253);
  EXPECT_EQ(log_content("error_log"),
            "[time] [path=null]: script error by host (null)\n[time] [path=null]: illegal call\n");
}

TEST(error_page, does_not_escape_its_message) {
  const temporary_folder folder;
  const child_result child = run_in_child([] { error_page("%s", "<b>&"); });
  EXPECT_NE(child.output.find("<h2>\n<b>&</h2>"), std::string::npos);
}

TEST(error_page, shows_a_message_of_any_length) {
  const temporary_folder folder;
  const std::string message(10000, 'm');
  const child_result child = run_in_child([&message] { error_page("%s", message.c_str()); });
  EXPECT_NE(child.output.find("<h2>\n" + message + "</h2>"), std::string::npos);
}

}  // namespace
}  // namespace quillet
