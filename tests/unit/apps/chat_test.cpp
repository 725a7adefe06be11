#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "apps/chat_admission.h"
#include "apps/chat_messages.h"
#include "apps/chat_settings.h"
#include "apps/chat_users.h"
#include "cgi/form.h"
#include "cgi/request.h"
#include "core/evaluator.h"
#include "main/modules.h"
#include "support.h"

namespace quillet {
namespace {

using quillet_tests::file_content;
using quillet_tests::random_texts;
using quillet_tests::temporary_folder;
using quillet_tests::write_file;

std::string lines(int count) {
  std::string made;
  for (int i = 1; i <= count; ++i) made += "l" + std::to_string(i) + "\n";
  return made;
}

// The newest lines by the letter: pointers that step one byte and go to the next line break.
std::string reference_newest_lines(const std::string &index, long long lines) {
  if (index.empty()) return "";
  long long count = 0;
  for (std::size_t at = 0; at != std::string::npos; ++count) {
    ++at;
    while (at < index.size() && index[at] != '\n') ++at;
    if (at >= index.size()) at = std::string::npos;
  }
  std::size_t start = 0;
  for (long long i = 0; i < count - lines; ++i) {
    ++start;
    while (start < index.size() && index[start] != '\n') ++start;
    if (start >= index.size()) return "";
  }
  return index.substr(start);
}

TEST(newest_lines, deliberate_gives_one_line_fewer) {
  EXPECT_EQ(newest_lines("a\nb\nc\n", 3), "\nb\nc\n");
  EXPECT_EQ(newest_lines("a\nb\nc\n", 4), "a\nb\nc\n");
}

TEST(newest_lines, is_the_plain_algorithm_for_random_texts) {
  random_texts random(3);
  constexpr std::string_view pieces[] = {"\n", "a", "\n\n", "bc", "#"};
  for (int n = 0; n < 20000; ++n) {
    const std::string index = random.text(pieces, 12);
    for (long long wanted = -2; wanted <= 14; ++wanted) {
      ASSERT_EQ(newest_lines(index, wanted), reference_newest_lines(index, wanted)) << wanted << " of: " << index;
    }
  }
}

TEST(newest_lines, keeps_99_of_any_number_with_100) {
  for (int count = 0; count <= 99; ++count) EXPECT_EQ(newest_lines(lines(count), 100), lines(count));
  for (int count = 100; count <= 300; ++count) {
    const std::string all = lines(count);
    EXPECT_EQ(newest_lines(all, 100), all.substr(lines(count - 99).size() - 1));
  }
}

TEST(newest_lines, of_a_long_index_is_found_in_linear_time) {
  const std::string index = lines(1000000);
  EXPECT_EQ(newest_lines(index, 2), "\nl1000000\n");
  EXPECT_EQ(newest_lines(index, -2147483648LL), "");
}

TEST(append_chat_message, parts_every_word_after_34_bytes) {
  for (int length = 0; length <= 200; ++length) {
    std::string expected(static_cast<std::size_t>(length), 'a');
    for (int at = length / 34 * 34; at > 0; at -= 34) expected.insert(static_cast<std::size_t>(at), " ");
    text out;
    append_chat_message(std::string(static_cast<std::size_t>(length), 'a'), out);
    EXPECT_EQ(out.view(), expected);
  }
}

TEST(is_valid_login, takes_letters_digits_underscore_and_bytes_from_192_on) {
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool valid = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
                       byte == '_' || byte >= 192;
    EXPECT_EQ(is_valid_login({&c, 1}), valid) << byte;
  }
}

TEST(read_chat_user, splits_at_the_first_two_spaces) {
  const chat_user user = read_chat_user("ann 10.0.0.1 123 456");
  EXPECT_EQ(user.login, "ann");
  EXPECT_EQ(user.address, "10.0.0.1");
  EXPECT_EQ(user.last_active, 123);
}

TEST(read_chat_user, reads_damaged_lines) {
  EXPECT_EQ(read_chat_user("").login, "");
  EXPECT_EQ(read_chat_user("ann").login, "ann");
  EXPECT_EQ(read_chat_user("ann").address, "");
  EXPECT_EQ(read_chat_user("ann 10.0").address, "10.0");
  EXPECT_EQ(read_chat_user("ann 10.0").last_active, 0);
  EXPECT_EQ(read_chat_user("  7").login, "");
  EXPECT_EQ(read_chat_user("  7").last_active, 7);
  EXPECT_EQ(read_chat_user("a b -x").last_active, 0);
}

// The chat's folder, and a visitor "ann" from 127.0.0.1.
class chat : public testing::Test {
 protected:
  chat() {
    std::filesystem::create_directories("chat/admin");
    request.remote_addr = "127.0.0.1";
    static_cast<void>(add_form_entry({"login", "ann", ""}));
  }

  temporary_folder folder_;
};

std::string evaluated(std::string_view page) {
  register_all_operators();
  text out;
  evaluate(page, out);
  return std::string(out.view());
}

TEST_F(chat, keeps_a_user_of_179_seconds_ago_and_drops_one_of_180) {
  write_file("chat/userlist", "a 10.0.0.1 1821\nb 10.0.0.2 1820\n");
  refresh_chat_users(2000);
  EXPECT_EQ(file_content("chat/userlist"), "a 10.0.0.1 1821\n");
}

TEST_F(chat, notes_the_time_of_the_visitor_alone) {
  write_file("chat/userlist", "ann 127.0.0.1 5\nann 10.0.0.1 1990\nbob 127.0.0.1 1990\n");
  refresh_chat_users(2000);
  EXPECT_EQ(file_content("chat/userlist"), "ann 127.0.0.1 2000\nann 10.0.0.1 1990\nbob 127.0.0.1 1990\n");
}

TEST_F(chat, counts_seconds_beyond_32_bits) {
  write_file("chat/userlist", "a 1 4999999821\nb 2 4999999820\n");
  refresh_chat_users(5000000000);
  EXPECT_EQ(file_content("chat/userlist"), "a 1 4999999821\n");
}

TEST_F(chat, joins_at_the_end_of_the_list) {
  write_file("chat/userlist", "bob 10.0.0.1 7\n");
  EXPECT_TRUE(join_chat(2000));
  EXPECT_EQ(file_content("chat/userlist"), "bob 10.0.0.1 7\nann 127.0.0.1 2000\n");
}

TEST_F(chat, joins_once) {
  EXPECT_TRUE(join_chat(2000));
  EXPECT_FALSE(join_chat(2001));
  EXPECT_EQ(file_content("chat/userlist"), "ann 127.0.0.1 2000\n");
}

// Whatever the files hold, every reader gets through them.
TEST_F(chat, survives_random_files) {
  random_texts random(11);
  constexpr std::string_view pieces[] = {"\n",   " ",  "ann", ":",        "127.0.0.1", "9999999999", "-",    "#",
                                         "\xFF", "\r", "\t",  "^form[x]", "\x01",      "  ",         "\n\n", "^"};
  for (int n = 0; n < 150; ++n) {
    for (const char *path : {"chat/userlist", "chat/index", "chat/admin/password", "chat/admin/banned"}) {
      write_file(path, random.text(pieces, 30));
    }
    const login_status status = find_login_status();
    EXPECT_TRUE(status >= login_status::accepted && status <= login_status::banned);
    join_chat(2000);
    refresh_chat_users(2000);
    static_cast<void>(evaluated("^chat[5]"));
  }
}

TEST_F(chat, setting_is_the_form_field_or_else_the_cookie) {
  request.http_cookie = "login=bob; color=r%C3%A9d; lines_count=; other=x";
  EXPECT_EQ(chat_setting("login").view(), "ann");
  EXPECT_EQ(chat_setting("color").view(),
            "r\xC3\xA9"
            "d");
  EXPECT_TRUE(chat_setting("lines_count").is_null());
  EXPECT_TRUE(chat_setting("password").is_null());
  EXPECT_TRUE(chat_setting("other").is_null());
}

// The chat's `cookie` gives way to the one registered before it.
void register_own_cookie_as(std::string_view name) {
  for (const operator_module *module : operator_modules()) {
    if (module->source != "apps/chat.cpp") continue;
    for (const operator_definition &definition : module->definitions) {
      if (definition.name == "cookie") {
        register_operator(name, definition.handler, definition.parameter_count, definition.flags);
      }
    }
  }
}

TEST_F(chat, cookie_of_its_own_gives_settings_but_no_password) {
  request.http_cookie = "login=ann; color=dark_red; password=secret; other=x";
  static_cast<void>(add_form_entry({"message", "color", ""}));
  register_own_cookie_as("chat_cookie");
  EXPECT_EQ(evaluated("^chat_cookie[login] ^chat_cookie[color]<^chat_cookie[password]><^chat_cookie[other]>"),
            "ann dark red<><>");
  EXPECT_EQ(evaluated("^chat_cookie[^message[]]"), "dark red");
  EXPECT_EQ(evaluated("^chat_cookie[a;b]"), "[invalid parameters to operator chat_cookie]");
}

}  // namespace
}  // namespace quillet
