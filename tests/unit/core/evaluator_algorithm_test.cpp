// The evaluator against its algorithm told plainly, on random texts.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/evaluator.h"
#include "support.h"

namespace quillet {
namespace {

using list = std::vector<std::string>;

// Expands one flat text as the language is defined: character by character, each result spliced into
// the text.
class plain_expander {
 public:
  std::string evaluate(std::string source) {
    std::size_t i = 0;
    while (i < source.size()) {
      if (source[i] != '^') {
        ++i;
        continue;
      }
      if (i + 1 == source.size()) {
        source.erase(i);
        break;
      }
      if (source[i + 1] == '^' || source[i + 1] == ';') {
        source.erase(i, 1);
        ++i;
        continue;
      }
      const std::size_t bracket = source.find('[', i);
      list slots;
      const std::size_t length = bracket == std::string::npos ? 0 : split(source.substr(bracket), slots);
      if (length == 0) {
        ++i;
        continue;
      }
      const std::string result = invoke(source.substr(i + 1, bracket - i - 1), slots);
      source.replace(i, bracket + length + 1 - i, result);
      i += result.size();
    }
    return source;
  }

  static std::size_t split(const std::string &call, list &slots) {
    int level = 0;
    bool escape_pending = false;
    bool inside_backticks = false;
    std::size_t start = 1;
    for (std::size_t k = 0; k < call.size(); ++k) {
      const char c = call[k];
      const bool e = escape_pending;
      if (!e && !inside_backticks) {
        if (c == '[') ++level;
        if (c == ']') --level;
      }
      if (level == 0 || (level == 1 && c == ';' && !e && !inside_backticks)) {
        std::string parameter = call.substr(start, k - start);
        if (!parameter.empty() && parameter.front() == '`' && parameter.back() == '`') {
          parameter.erase(0, 1);
          parameter.pop_back();
        }
        slots.push_back(parameter);
        if (slots.size() > 19) return 0;
        start = k + 1;
      }
      if (c == '`') inside_backticks = !inside_backticks;
      if (e) {
        escape_pending = false;
      } else if (c == '^') {
        escape_pending = true;
      }
      if (level == 0) return k;
    }
    return 0;
  }

  int depth = 0;

 private:
  std::string invoke(const std::string &name, list slots) {
    if (++depth > 999) return "[infinite operator recursion detected]";
    const bool joins = name == "a";
    const bool lazy_one = name == "b";
    const bool pair = name == "ab";
    const bool makes_markup = name == "ba";
    const bool twice_two = name == "bb";
    if (!joins && !lazy_one && !pair && !makes_markup && !twice_two) {
      return "[invalid operator " + (name.empty() ? "" : name + "]");
    }
    if (joins || pair || makes_markup) {
      for (std::string &slot : slots) slot = evaluate(slot);
    }
    std::string result;
    if ((pair || twice_two) && slots.size() != 2) {
      result = "[invalid parameters to operator " + name + "]";
    } else if (makes_markup) {
      result = "^a[" + slots[0] + "]";
    } else if (twice_two) {
      result = evaluate(slots[1]);
      result += evaluate(slots[1]);
    } else {
      result = "{";
      for (const std::string &slot : slots) result += slot + ",";
      result += "}";
    }
    --depth;
    return result;
  }
};

void op_join(parameters &p, text &out) {
  out.append('{');
  for (int i = 0; i < p.count(); ++i) {
    out.append(p[i]);
    out.append(',');
  }
  out.append('}');
}

void op_make_markup(parameters &p, text &out) {
  out.append("^a[");
  out.append(p[0]);
  out.append(']');
}

void op_second_twice(parameters &p, text &out) {
  evaluate(p[1], out);
  evaluate(p[1], out);
}

// Random texts, `count` for each process, so that calls of unknown names do not soon use up the depth.
void for_each_batch(std::uint32_t seed, int processes, int count, std::size_t longest,
                    void (*compare)(const std::string &source, plain_expander &plain)) {
  constexpr operator_definition operators[] = {
      {"a", op_join, 0, evaluated, "", ""},     {"b", op_join, 0, lazy, "", ""},
      {"ab", op_join, 2, evaluated, "", ""},    {"ba", op_make_markup, 0, evaluated, "", ""},
      {"bb", op_second_twice, 2, lazy, "", ""},
  };
  constexpr std::string_view bytes[] = {"^", "[", "]", ";", "`", "a", "b"};
  constexpr std::string_view pieces[] = {"^a[", "^b[", "^ab[", "^ba[", "^bb[", "]",  "]",  "]",  ";",  ";",
                                         "`",   "^",   "[",    "a",    "b",    "^^", "^;", "^`", "^[", "^]"};
  register_operators(operators);
  quillet_tests::random_texts random(seed);
  for (int n = 0; n < processes; ++n) {
    std::vector<std::string> sources;
    for (int i = 0; i < count; ++i) {
      sources.push_back(i % 2 == 0 ? random.text(bytes, longest) : random.text(pieces, longest));
    }
    const auto child = quillet_tests::run_in_child([&sources, compare] {
      plain_expander plain;
      plain.depth = call_depth();
      for (const std::string &source : sources) compare(source, plain);
    });
    ASSERT_EQ(child.status, 0) << child.output << child.error;
  }
}

void compare_once(const std::string &source, plain_expander &plain) {
  ASSERT_EQ(evaluate_copy(source).view(), plain.evaluate(source)) << source;
  ASSERT_EQ(call_depth(), plain.depth) << source;
}

// As the body of a loop, and every part of it as the body of a loop in it.
void compare_in_loops(const std::string &source, plain_expander &plain) {
  const loop_scope scope(source);
  for (int pass = 0; pass < 3; ++pass) {
    compare_once(source, plain);
    const loop_scope inner(std::string_view(source).substr(source.size() / 3));
    for (int again = 0; again < 2; ++again) {
      const std::string_view part = std::string_view(source).substr(source.size() / 3);
      ASSERT_EQ(evaluate_copy(part).view(), plain.evaluate(std::string(part))) << source;
      ASSERT_EQ(call_depth(), plain.depth) << source;
    }
  }
}

TEST(evaluate, follows_the_plain_algorithm_on_short_random_texts) { for_each_batch(22, 100, 100, 24, compare_once); }

TEST(evaluate, follows_the_plain_algorithm_on_longer_random_texts) { for_each_batch(222, 50, 10, 300, compare_once); }

TEST(loop_scope, follows_the_plain_algorithm_on_random_texts) { for_each_batch(223, 100, 20, 30, compare_in_loops); }

TEST(split_parameters, follows_the_plain_algorithm_on_random_texts) {
  quillet_tests::random_texts random(2222);
  constexpr std::string_view pieces[] = {"^", "[", "]", ";", "`", "a", "]", "bbbbbbbbbbbbbbbbb"};
  for (int i = 0; i < 20000; ++i) {
    const std::string call = "[" + random.text(pieces, 40);
    list expected;
    const std::size_t expected_end = plain_expander::split(call, expected);
    parameters p;
    ASSERT_EQ(split_parameters(call, p), expected_end) << call;
    if (expected_end == 0) continue;
    list slots;
    for (int k = 0; k < p.count(); ++k) slots.emplace_back(p[k]);
    ASSERT_EQ(slots, expected) << call;
  }
}

}  // namespace
}  // namespace quillet
