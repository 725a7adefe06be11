#include "core/quoting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>

#include "core/evaluator.h"
#include "support.h"

namespace quillet {
namespace {

using namespace std::string_view_literals;

std::string escaped(std::string_view value, bool restore_tabs = false) {
  text out;
  quote(value, restore_tabs, out);
  return std::string(out.view());
}

// Every byte but NUL, alone, under the mode; those that are not in `changed` stay as they are.
void expect_bytes(quoting_mode mode, const std::map<char, std::string> &changed) {
  const quoting_scope scope(mode);
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const auto row = changed.find(c);
    EXPECT_EQ(escaped({&c, 1}), row == changed.end() ? std::string(1, c) : row->second) << "byte " << byte;
  }
}

TEST(quoting, is_html_at_first) { EXPECT_EQ(current_quoting_mode(), quoting_html); }

TEST(quoting, none_changes_no_byte) { expect_bytes(quoting_none, {}); }

TEST(quoting, config_turns_tabs_and_line_feeds_into_spaces) {
  expect_bytes(quoting_config, {{'\t', " "}, {'\n', " "}});
}

TEST(quoting, html_changes_tab_double_quote_and_angle_brackets_and_deliberately_no_ampersand) {
  expect_bytes(quoting_html, {{'\t', " "}, {'"', "&quot;"}, {'<', "&lt;"}, {'>', "&gt;"}});
}

TEST(quoting, sql_changes_tab_line_breaks_quotes_and_backslash) {
  expect_bytes(quoting_sql, {{'\t', "\a"}, {'\n', "\\n"}, {'\r', "\\r"}, {'"', "\\\""}, {'\'', "\\'"}, {'\\', "\\\\"}});
}

TEST(quoting, javascript_changes_line_breaks_quotes_backslash_and_the_bytes_209_and_255) {
  expect_bytes(quoting_javascript, {{'\n', "\\n"},
                                    {'\r', "\\r"},
                                    {'"', "\\\""},
                                    {'\'', "\\'"},
                                    {'\\', "\\\\"},
                                    {'\xD1', "\\\xD1"},
                                    {'\xFF', "\\\xFF"}});
}

TEST(quoting, of_nothing_is_nothing_in_every_mode) {
  for (int number = quoting_none; number <= quoting_javascript; ++number) {
    const quoting_scope scope(static_cast<quoting_mode>(number));
    text out;
    quote({}, true, out);
    EXPECT_TRUE(out.is_null());
  }
}

TEST(quoting, by_default_escapes_as_html) { EXPECT_EQ(escaped("a<b & \"c\""), "a&lt;b & &quot;c&quot;"); }

TEST(quoting, sql_escapes_a_name_with_an_apostrophe) {
  const quoting_scope scope(quoting_sql);
  EXPECT_EQ(escaped("O'Neil"), "O\\'Neil");
}

TEST(quoting, escapes_an_existing_escape_again) {
  const quoting_scope scope(quoting_sql);
  EXPECT_EQ(escaped("\\n\\'"), "\\\\n\\\\\\'");
}

TEST(quoting, restores_the_tabs_that_sql_made_bells) {
  const quoting_scope scope(quoting_sql);
  EXPECT_EQ(escaped("a\tb"), "a\ab");
  EXPECT_EQ(escaped("a\tb", true), "a\tb");
}

TEST(quoting, restoring_tabs_changes_every_bell_in_every_mode) {
  for (int number = quoting_none; number <= quoting_javascript; ++number) {
    const quoting_scope scope(static_cast<quoting_mode>(number));
    EXPECT_EQ(escaped("a\ab\a", true), "a\tb\t") << number;
  }
}

TEST(quoting, restoring_tabs_leaves_what_stood_before) {
  const quoting_scope scope(quoting_sql);
  text out("\a|"sv);
  quote("\t", true, out);
  EXPECT_EQ(out.view(), "\a|\t");
}

TEST(quoting, outside_the_modes_returns_nothing) {
  for (const int number : {-1, 6, 1000}) {
    int saved = 0;
    EXPECT_EQ(set_quoting_mode(saved, number), number);
    EXPECT_EQ(escaped("text"), "");
    restore_quoting_mode(saved);
  }
}

TEST(quoting, grows_with_its_escapes) {
  for (const std::size_t length : {std::size_t{255}, std::size_t{256}, std::size_t{257}, std::size_t{5000}}) {
    std::string expected;
    for (std::size_t i = 0; i < length; ++i) expected += "&quot;";
    EXPECT_EQ(escaped(std::string(length, '"')), expected);
  }
}

// The rules of the five modes, byte by byte.
std::string plainly_quoted(int mode, std::string_view value, bool restore_tabs) {
  constexpr std::string_view changed[] = {"", "\t\n", "\t\"<>", "\t\n\r\"'\\", "\n\r\"'\\\xD1\xFF"};
  const std::map<char, std::string> html = {{'\t', " "}, {'"', "&quot;"}, {'<', "&lt;"}, {'>', "&gt;"}};
  std::string result;
  for (const char c : value) {
    if (changed[mode - 1].find(c) == std::string_view::npos) {
      result += c;
    } else if (mode == quoting_html) {
      result += html.at(c);
    } else if (mode == quoting_config) {
      result += ' ';
    } else if (c == '\t') {
      result += '\a';
    } else {
      result += std::string("\\") + (c == '\n' ? 'n' : c == '\r' ? 'r' : c);
    }
  }
  if (restore_tabs) std::replace(result.begin(), result.end(), '\a', '\t');
  return result;
}

TEST(quoting, by_blocks_gives_the_same_as_byte_by_byte) {
  quillet_tests::random_texts random(41);
  constexpr std::string_view pieces[] = {"a",
                                         "fifteen bytes..",
                                         "a long run of bytes that stay as they are",
                                         "\t",
                                         "\n",
                                         "\r",
                                         "\"",
                                         "'",
                                         "\\",
                                         "<",
                                         ">",
                                         "\a",
                                         "&",
                                         "\xD1",
                                         "\xFF"};
  for (int i = 0; i < 4000; ++i) {
    const std::string value = random.text(pieces, i % 2 == 0 ? 6 : 25);
    const std::string before = random.text(pieces, 3);
    for (int mode = quoting_none; mode <= quoting_javascript; ++mode) {
      const quoting_scope scope(static_cast<quoting_mode>(mode));
      for (const bool restore_tabs : {false, true}) {
        text out;
        out.append(before);
        quote(value, restore_tabs, out);
        ASSERT_EQ(out.view(), before + plainly_quoted(mode, value, restore_tabs)) << mode << restore_tabs;
      }
      text padded(value + "<<<");  // what follows the value is not looked at
      padded.pad();
      text out;
      out.append(before);
      quote_padded(padded.view().substr(0, value.size()), out);
      ASSERT_EQ(out.view(), before + plainly_quoted(mode, value, true)) << mode;
    }
  }
}

TEST(set_quoting_mode, saves_the_mode_before_and_gives_the_one_in_force) {
  int saved = 0;
  EXPECT_EQ(set_quoting_mode(saved, quoting_sql), quoting_sql);
  EXPECT_EQ(saved, quoting_html);
  restore_quoting_mode(saved);
  EXPECT_EQ(current_quoting_mode(), quoting_html);
}

TEST(set_quoting_mode, number_0_leaves_the_mode) {
  int saved = 0;
  EXPECT_EQ(set_quoting_mode(saved, 0), quoting_html);
  EXPECT_EQ(saved, quoting_html);
}

TEST(set_quoting_mode_by_name, knows_the_five_names) {
  const std::pair<const char *, int> names[] = {{"none", quoting_none},
                                                {"config", quoting_config},
                                                {"html", quoting_html},
                                                {"sql", quoting_sql},
                                                {"javascript", quoting_javascript}};
  for (const auto &[name, number] : names) {
    int saved = 0;
    set_quoting_mode_by_name(saved, name);
    EXPECT_EQ(current_quoting_mode(), number) << name;
    restore_quoting_mode(saved);
  }
}

TEST(set_quoting_mode_by_name, leaves_the_mode_at_an_unknown_name) {
  const quoting_scope scope(quoting_sql);
  for (const char *name : {"HTML", "", "htm", "html ", "None"}) {
    int saved = 0;
    set_quoting_mode_by_name(saved, name);
    EXPECT_EQ(current_quoting_mode(), quoting_sql) << name;
    EXPECT_EQ(saved, quoting_sql);
  }
}

TEST(quoting_scope, modes_nest) {
  {
    const quoting_scope outer(quoting_sql);
    {
      const quoting_scope inner("none");
      EXPECT_EQ(current_quoting_mode(), quoting_none);
    }
    EXPECT_EQ(current_quoting_mode(), quoting_sql);
  }
  EXPECT_EQ(current_quoting_mode(), quoting_html);
}

TEST(quoting_scope, ends_also_when_an_error_passes_through_it) {
  try {
    const quoting_scope scope(quoting_config);
    throw std::runtime_error("");
  } catch (const std::runtime_error &) {
  }
  EXPECT_EQ(current_quoting_mode(), quoting_html);
}

TEST(evaluate_parameters_quoted, evaluates_every_parameter_in_order_under_the_mode) {
  static std::string seen;
  register_operator(
      "quoting test: mode",
      [](parameters &p, text &out) {
        seen += std::string(p[0]);
        out.append(format_signed(current_quoting_mode()));
      },
      0, evaluated);
  parameters p;
  p.add("^quoting test: mode[a]");
  p.add("plain");
  p.add("^quoting test: mode[b]!");
  evaluate_parameters_quoted(quoting_config, p);
  EXPECT_EQ(p[0], "2");
  EXPECT_EQ(p[1], "plain");
  EXPECT_EQ(p[2], "2!");
  EXPECT_EQ(seen, "ab");
  EXPECT_EQ(current_quoting_mode(), quoting_html);
}

TEST(quoting_mode_name, names_the_modes_only) {
  EXPECT_EQ(quoting_mode_name(quoting_none), "none");
  EXPECT_EQ(quoting_mode_name(quoting_javascript), "javascript");
  EXPECT_EQ(quoting_mode_name(0), "");
  EXPECT_EQ(quoting_mode_name(6), "");
}

}  // namespace
}  // namespace quillet
