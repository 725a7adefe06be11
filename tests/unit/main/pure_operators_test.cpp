// Every operator that is marked pure: its text is the same again, and calling it changes nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "cgi/request.h"
#include "core/evaluator.h"
#include "core/operators.h"
#include "main/modules.h"
#include "support.h"

namespace quillet {
namespace {

using calls = std::vector<std::string_view>;

// Calls of each pure operator: every form of it, with errors, and with values of what pages can change.
const std::map<std::string_view, calls> examples = {
    {"eval",
     {"^eval[]", "^eval[1+2*v]", "^eval[v;%.3f]", "^eval[table::name]", "^eval[name+other::0]", "^eval[1/0]",
      "^eval[2+]", "^eval[none]", "^eval[v;%s]", "^eval[1;2;3]"}},
    {"item",
     {"^item[name]", "^item[0]", "^item[]", "^item[none]", "^item[count]", "^item[current]", "^item[number]",
      "^item[other;0]", "^item[next;name]", "^item[prev;name]", "^item[next;none]", "^item[other;none;name]"}},
    {"name", {"^name[]", "^name[a/b.c]", "^name[a/b.c;1]", "^name[/a/;9]", "^name[a;b;c]"}},
    {"user", {"^user[]", "^user[anybody]"}},
};

// What the pure operators could have changed, as a page sees it, and what lies in the working directory.
std::string state() {
  std::string seen = std::string(
      evaluate(
          "^var[v]|^item[current]|^item[count]|^item[name]|^context[other;^item[current]^item[0]]|"
          "^level[html;^var[markup]]^var[markup]|^form[field]|^combine[field]|^macro_exists[m]|^env[V]|^uri[]|^user[]")
          .view());
  for (const auto &entry : std::filesystem::recursive_directory_iterator(".")) seen += entry.path().string();
  return seen + '|' + std::to_string(call_depth()) + '|' + std::to_string(request.print_response) +
         std::string(request.response_content_type.view());
}

class pure_operators : public testing::Test {
 protected:
  pure_operators() {
    register_all_operators();
    request.remote_user = "ann";
    (void)evaluate(
        "^var[v;41]^var[markup;<b>]^macro_new[m;x]^context[other;^config[a\tb\nc\td]]"
        "^config[named;name\tword\none\t1\ntwo\t2\nthree\t3]^shift[1]");
  }

 private:
  const quillet_tests::temporary_folder folder_;
};

TEST_F(pure_operators, all_have_examples_and_no_other_has) {
  std::vector<std::string_view> marked, with_examples;
  for (const operator_entry &entry : registered_operators()) {
    if (entry.is_pure) marked.push_back(entry.name);
  }
  std::sort(marked.begin(), marked.end());
  for (const auto &[name, list] : examples) with_examples.push_back(name);
  EXPECT_EQ(marked, with_examples);
}

TEST_F(pure_operators, give_the_same_text_again_and_change_nothing) {
  for (const auto &[name, list] : examples) {
    for (const std::string_view call : list) {
      const std::string before = state();
      const unsigned long effects = effect_count();
      const std::string first(evaluate(call).view());
      const std::string second(evaluate(call).view());
      EXPECT_EQ(effect_count(), effects) << call;
      EXPECT_EQ(first, second) << call;
      EXPECT_EQ(state(), before) << call;
    }
  }
}

TEST_F(pure_operators, give_a_text_of_their_own_calls_inside_each_other) {
  for (const std::string_view call : {"^item[^item[^name[x/name.c]]]", "^eval[^item[word]+^eval[v;%d]]"}) {
    const std::string before = state();
    const unsigned long effects = effect_count();
    const std::string first(evaluate(call).view());
    EXPECT_EQ(std::string(evaluate(call).view()), first);
    EXPECT_EQ(effect_count(), effects);
    EXPECT_EQ(state(), before);
  }
}

}  // namespace
}  // namespace quillet
