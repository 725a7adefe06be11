#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <deque>
#include <string>
#include <vector>

#include "cgi/charset.h"
#include "cgi/form.h"
#include "cgi/request.h"
#include "support.h"

namespace quillet {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

using list = std::vector<std::string>;

char *keep(std::string_view data) {
  static std::deque<std::string> kept;
  return kept.emplace_back(data).data();
}

constexpr std::string_view plain_type = "multipart/form-data; boundary=B0";

// The entries that decoding adds: "name=value", of a file "name<file name>=value".
list decoded(std::string_view body, std::string_view type = plain_type, decode_result expected = decode_ok) {
  const std::size_t before = form_entries().size();
  request.content_type = type;
  EXPECT_EQ(decode_multipart(keep(body), body.size()), expected);
  request.content_type = "";
  list added;
  for (std::size_t i = before; i < form_entries().size(); ++i) {
    const form_entry entry = form_entries()[i];
    std::string shown(entry.name);
    if (entry.is_file()) shown += "<" + std::string(entry.file_name) + ">";
    added.push_back(shown + "=" + std::string(entry.value));
  }
  return added;
}

std::string part(std::string_view parameters, std::string_view content) {
  const std::string header = "--B0\r\nContent-Disposition: form-data;" + std::string(parameters) + "\r\n\r\n";
  return header + std::string(content) + "\r\n";
}

constexpr std::string_view last = "--B0--\r\n";

TEST(decode_multipart, gives_the_parts_in_their_order) {
  EXPECT_EQ(decoded(part(" name=\"a\"", "1") + part(" name=\"b\"", "two\r\nlines") + part(" name=\"a\"", "3") +
                    std::string(last)),
            (list{"a=1", "b=two\r\nlines", "a=3"}));
}

TEST(decode_multipart, gives_a_file_its_name_and_every_byte) {
  EXPECT_EQ(decoded(part(" name=\"f\"; filename=\"a.bin\"\r\nContent-Type: x/y", "\0\r\n\xFF\0"sv) + std::string(last)),
            (list{"f<a.bin>=\0\r\n\xFF\0"s}));
}

TEST(decode_multipart, takes_names_without_quotes) {
  EXPECT_EQ(decoded(part(" name=f; filename=a.bin", "x") + std::string(last)), (list{"f<a.bin>=x"}));
}

TEST(decode_multipart, never_takes_the_file_name_for_the_name) {
  EXPECT_EQ(decoded(part(" filename=\"a.bin\"", "x") + std::string(last)), (list{}));
  EXPECT_EQ(decoded(part(" filename=\"a.bin\"; name=\"f\"", "x") + std::string(last)), (list{"f<a.bin>=x"}));
}

TEST(decode_multipart, takes_an_empty_file_name_for_none) {
  EXPECT_EQ(decoded(part(" name=\"f\"; filename=\"\"", "x") + std::string(last)), (list{"f=x"}));
}

TEST(decode_multipart, drops_an_empty_part) {
  EXPECT_EQ(decoded(part(" name=\"a\"", "") + part(" name=\"b\"", "1") + std::string(last)), (list{"b=1"}));
}

TEST(decode_multipart, keeps_a_part_of_one_byte) {
  EXPECT_EQ(decoded(part(" name=\"a\"", "1") + std::string(last)), (list{"a=1"}));
}

TEST(decode_multipart, drops_a_part_too_short_for_the_bytes_before_a_boundary) {
  EXPECT_EQ(decoded("--B0\nContent-Disposition: form-data; name=a\n\nx--B0--"), (list{}));
  EXPECT_EQ(decoded("--B0\nContent-Disposition: form-data; name=a\n\n--B0--"), (list{}));
  EXPECT_EQ(decoded("--B0\nContent-Disposition: form-data; name=a\n\nB0--"), (list{}));
}

TEST(decode_multipart, drops_a_part_without_a_name) {
  EXPECT_EQ(decoded(part("", "x") + part(" name=\"\"", "y") + part(" name=\"b\"", "1") + std::string(last)),
            (list{"b=1"}));
}

TEST(decode_multipart, drops_a_part_that_is_no_form_data) {
  EXPECT_EQ(decoded("--B0\r\nContent-Disposition: attachment; name=\"a\"\r\n\r\nx\r\n" + part(" name=\"b\"", "1") +
                    std::string(last)),
            (list{"b=1"}));
}

TEST(decode_multipart, finds_the_disposition_in_upper_or_lower_case) {
  EXPECT_EQ(decoded("--B0\r\nCONTENT-disposition: FORM-data; NAME=\"a\"\r\n\r\nx\r\n--B0--"), (list{"a=x"}));
}

TEST(decode_multipart, lets_header_lines_end_with_a_line_feed) {
  EXPECT_EQ(decoded("--B0\nContent-Disposition: form-data; name=\"a\"\n\nx\r\n--B0--"), (list{"a=x"}));
  EXPECT_EQ(decoded("--B0\nContent-Disposition: form-data; name=\"a\"\n\r\nx\r\n--B0--"), (list{"a=x"}));
}

TEST(decode_multipart, ignores_text_before_the_first_boundary) {
  EXPECT_EQ(decoded("preamble\r\n" + part(" name=\"a\"", "1") + std::string(last)), (list{"a=1"}));
}

TEST(decode_multipart, keeps_what_was_decoded_before_a_malformed_part) {
  EXPECT_EQ(decoded(part(" name=\"a\"", "1") + "--B0\r\nno empty line here\r\n" + part(" name=\"b\"", "2") +
                    std::string(last)),
            (list{"a=1"}));
}

TEST(decode_multipart, drops_a_part_that_no_boundary_ends) {
  EXPECT_EQ(decoded(part(" name=\"a\"", "1") + part(" name=\"b\"", "2")), (list{"a=1"}));
}

TEST(decode_multipart, finds_the_boundary_in_upper_or_lower_case_of_body_and_content_type) {
  EXPECT_EQ(decoded("--aBc\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\n1\r\n--AbC--",
                    "multipart/form-data; BOUNDARY=abC"),
            (list{"a=1"}));
}

TEST(decode_multipart, takes_a_quoted_boundary_up_to_its_quote) {
  EXPECT_EQ(decoded("--B; 0\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\n1\r\n--B; 0--",
                    "multipart/form-data; boundary=\"B; 0\"; charset=x"),
            (list{"a=1"}));
}

TEST(decode_multipart, takes_a_plain_boundary_up_to_a_space_semicolon_quote_or_line_break) {
  for (const char *end : {" x", ";x", "\"x", "\nx", "\rx"}) {
    EXPECT_EQ(decoded(part(" name=\"a\"", "1") + std::string(last), std::string(plain_type) + end), (list{"a=1"}));
  }
}

TEST(decode_multipart, without_a_boundary_is_a_mismatch) {
  decoded("body", "multipart/form-data", decode_mismatch);
  decoded("body", "", decode_mismatch);
  EXPECT_EQ(static_cast<int>(decode_mismatch), 2);
}

TEST(decode_multipart, takes_an_empty_boundary_for_none) {
  decoded("body", "multipart/form-data; boundary=", decode_mismatch);
  decoded("body", "multipart/form-data; boundary=\"\"", decode_mismatch);
}

TEST(decode_multipart, of_an_empty_body_returns_nothing) { EXPECT_EQ(decoded(""), (list{})); }

TEST(decode_multipart, cuts_names_at_their_first_nul) {
  EXPECT_EQ(decoded(part(" name=\"a\0b\"; filename=\"c\0d\""sv, "x") + std::string(last)), (list{"a<c>=x"}));
}

TEST(decode_multipart, recodes_text_fields_from_the_page_charset_to_the_source_charset_and_no_files) {
  const auto child = quillet_tests::run_in_child([] {
    setenv("CHARSET", "windows-1251", 1);
    setenv("SOURCE_CHARSET", "koi8-r", 1);
    read_charsets();
    EXPECT_EQ(decoded(part(" name=\"a\"", "\xE0") + part(" name=\"f\"; filename=\"\xE0\"", "\xE0") + std::string(last)),
              (list{"a=\xC1", "f<\xE0>=\xE0"}));
  });
  EXPECT_EQ(child.status, 0) << child.output;
}

TEST(decode_multipart, takes_linear_time_on_a_boundary_that_almost_occurs_everywhere) {
  const std::string type = "multipart/form-data; boundary=" + std::string(100000, 'a') + "b";
  EXPECT_EQ(decoded(std::string(1000000, 'a'), type), (list{}));
}

TEST(decode_multipart, survives_every_prefix_of_a_body) {
  const std::string body = part(" name=\"a\"", "1") + part(" name=\"f\"; filename=\"x\"", "2") + std::string(last);
  for (std::size_t length = 0; length <= body.size(); ++length) {
    // An exact copy, so that a read past its end is noticed.
    const std::string exact(body, 0, length);
    EXPECT_LE(decoded(exact).size(), 2U);
  }
}

// --- the body as a whole ---

// Reads the body from standard input in a process of its own.
quillet_tests::child_result read_body(std::string_view input, int content_length, bool multipart = false) {
  return quillet_tests::run_in_child(
      [=] {
        const std::size_t before = form_entries().size();
        request.content_length = content_length;
        const int result = read_post_body(multipart);
        std::printf("%d %zu", result, form_entries().size() - before);
      },
      input);
}

TEST(read_post_body, decodes_a_body_of_the_right_length) { EXPECT_EQ(read_body("a=1&b=2", 7).output, "0 2"); }

TEST(read_post_body, of_length_0_does_nothing) { EXPECT_EQ(read_body("a=1", 0).output, "0 0"); }

TEST(read_post_body, reads_no_more_than_the_content_length) { EXPECT_EQ(read_body("a=1&b=2", 3).output, "0 1"); }

TEST(read_post_body, of_a_body_that_is_too_short_logs_both_lengths) {
  const quillet_tests::temporary_folder folder;
  EXPECT_EQ(read_body("a=1", 10).output, "2 0");
  EXPECT_EQ(quillet_tests::log_content("error_log"),
            "[time] [path=null]: cgiParsePostFormInput: cgiContentLength(10)!=read_size(3)\n");
}

TEST(read_post_body, of_a_negative_length_fails) {
  const quillet_tests::temporary_folder folder;
  EXPECT_EQ(read_body("a=1", -1).output, "1 0");
}

TEST(read_post_body, gives_the_result_of_the_decoder) { EXPECT_EQ(read_body("a=1", 3, true).output, "2 0"); }

TEST(read_post_body, reads_several_megabytes) {
  const std::string body = "a=" + std::string(3 << 20, 'x');
  EXPECT_EQ(read_body(body, static_cast<int>(body.size())).output, "0 1");
}

// The names of the fields in the input of a request.
std::string decode_request(std::string_view method, std::string_view type, std::string_view query,
                           std::string_view body) {
  return quillet_tests::run_in_child(
             [=] {
               const std::size_t before = form_entries().size();
               request.request_method = method;
               request.content_type = type;
               request.query_string = query;
               request.content_length = static_cast<int>(body.size());
               const bool decoded_all = decode_form_input();
               std::printf("%s", decoded_all ? "" : "failed ");
               for (std::size_t i = before; i < form_entries().size(); ++i) {
                 const form_entry entry = form_entries()[i];
                 std::printf("%.*s ", static_cast<int>(entry.name.size()), entry.name.data());
               }
             },
             body)
      .output;
}

constexpr std::string_view urlencoded_type = "application/x-www-form-urlencoded";

TEST(decode_form_input, decodes_the_query_string_of_any_method) {
  EXPECT_EQ(decode_request("GET", "", "a=1&b=2", ""), "a b ");
  EXPECT_EQ(decode_request("", "", "a=1", ""), "a ");
}

TEST(decode_form_input, leaves_the_body_of_another_method_unread) {
  EXPECT_EQ(decode_request("GET", urlencoded_type, "a=1", "b=2"), "a ");
}

TEST(decode_form_input, decodes_the_query_string_before_the_body_of_a_post_request) {
  EXPECT_EQ(decode_request("post", "APPLICATION/X-www-form-urlencoded", "a=1", "b=2"), "a b ");
}

TEST(decode_form_input, compares_the_urlencoded_type_to_its_end) {
  EXPECT_EQ(decode_request("POST", std::string(urlencoded_type) + "; charset=x", "a=1", "b=2"), "a ");
}

TEST(decode_form_input, compares_the_multipart_type_as_a_prefix) {
  const std::string body = part(" name=\"m\"", "1") + std::string(last);
  EXPECT_EQ(decode_request("POST", plain_type, "", body), "m ");
  EXPECT_EQ(decode_request("POST", "MULTIPART/form-data; boundary=b0", "", body), "m ");
  EXPECT_EQ(decode_request("POST", "text/plain; boundary=B0", "", body), "");
}

TEST(decode_form_input, deliberately_takes_an_empty_or_shorter_type_for_multipart) {
  EXPECT_EQ(decode_request("POST", "", "a=1", "b=2"), "failed a ");
  EXPECT_EQ(decode_request("POST", "multipart", "a=1", "b=2"), "failed a ");
}

}  // namespace
}  // namespace quillet
