#include "language/expression.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <map>
#include <memory>
#include <string>

#include "core/quoting.h"
#include "core/variables.h"
#include "language/expression_arithmetic.h"
#include "language/expression_reference.h"
#include "support.h"
#include "table/registry.h"

namespace quillet {
namespace {

double value_of(std::string_view expression) {
  const expression_result result = evaluate_expression(expression);
  EXPECT_EQ(result.status, expression_status::ok) << expression;
  return result.value;
}

TEST(expression, of_no_bytes_is_0) { EXPECT_EQ(value_of(""), 0); }

TEST(expression, is_computed_in_doubles) { EXPECT_EQ(value_of("1/3+2"), 1.0 / 3 + 2); }

TEST(expression, failure_has_the_value_0_and_the_rest) {
  const expression_result result = evaluate_expression("5+$12");
  EXPECT_EQ(result.status, expression_status::syntax_error);
  EXPECT_EQ(result.value, 0);
  EXPECT_EQ(result.rest, "12");
}

TEST(expression, rest_is_a_part_of_the_expression) {
  const std::string_view expression = "(1)(2)";
  EXPECT_EQ(evaluate_expression(expression).rest.data(), expression.data() + 4);
}

TEST(expression, keeps_a_negative_zero) {
  EXPECT_TRUE(std::signbit(value_of("-0")));
  EXPECT_TRUE(std::signbit(value_of("ceiling(-0.5)")));
  EXPECT_TRUE(std::signbit(value_of("floor(-0)")));
  EXPECT_FALSE(std::signbit(value_of("floor(.5)")));
}

TEST(expression, rounds_numbers_of_every_size_like_the_c_library) {
  for (const char *number : {".4999999999999999", "-.5", "-1.5", "4503599627370495.5", "-4503599627370495.5",
                             "4503599627370496.5", "9007199254740993", "-1e300", "1e400", "-1e400"}) {
    const double x = std::strtod(number, nullptr);
    const std::string operand = "(" + std::string(number) + ")";
    EXPECT_EQ(value_of("floor" + operand), std::floor(x)) << number;
    EXPECT_EQ(value_of("ceiling" + operand), std::ceil(x)) << number;
    EXPECT_EQ(value_of("round" + operand), std::floor(x + 0.5)) << number;
  }
}

TEST(expression, of_many_levels_needs_no_stack) {
  constexpr std::size_t depth = 1000000;
  EXPECT_EQ(value_of(std::string(depth, '(') + "7" + std::string(depth, ')')), 7);
  EXPECT_EQ(value_of(std::string(depth, '!') + "7"), 1);
  EXPECT_EQ(evaluate_expression(std::string(depth, '(')).status, expression_status::missing_parenthesis);
  EXPECT_EQ(evaluate_expression(std::string(depth, '~')).status, expression_status::syntax_error);
}

TEST(expression, reads_a_cell_as_the_quoting_mode_shows_it) {
  put_table(std::make_unique<table>("\r5"));
  EXPECT_EQ(value_of("::0"), 5);
  {
    const quoting_scope mode(quoting_javascript);
    EXPECT_EQ(evaluate_expression("::0").status, expression_status::string_value);
  }
  remove_current_table();
}

TEST(truncate_to_int, drops_the_fraction) {
  EXPECT_EQ(truncate_to_int(2.9), 2);
  EXPECT_EQ(truncate_to_int(-2.9), -2);
  EXPECT_EQ(truncate_to_int(2147483647.99), INT_MAX);
  EXPECT_EQ(truncate_to_int(-2147483648.99), INT_MIN);
}

TEST(truncate_to_int, gives_the_smallest_integer_beyond_32_bits_and_for_nan) {
  for (const double x : {2147483648.0, -2147483649.0, 1e300, -1e300, HUGE_VAL, -HUGE_VAL, std::nan("")}) {
    EXPECT_EQ(truncate_to_int(x), INT_MIN) << x;
  }
}

TEST(without_white_space, is_the_source_itself_when_there_is_none) {
  text storage;
  const std::string_view source = "1+2";
  EXPECT_EQ(without_white_space(source, storage).data(), source.data());
  EXPECT_TRUE(storage.is_null());
}

TEST(without_white_space, leaves_the_source_alone) {
  text storage;
  const std::string source = " 1\t+\n2\v\f\r";
  EXPECT_EQ(without_white_space(source, storage), "1+2");
  EXPECT_EQ(source, " 1\t+\n2\v\f\r");
}

TEST(append_expression_error, has_a_text_for_each_status) {
  const auto error = [](expression_status status) {
    text out("x");
    append_expression_error(out, "for to", {0, status, "rest"});
    return std::string(out.view());
  };
  EXPECT_EQ(error(expression_status::ok), "x[for to: OK near 'rest']");
  EXPECT_EQ(error(expression_status::syntax_error), "x[for to: Syntax error near 'rest']");
  EXPECT_EQ(error(expression_status::missing_parenthesis), "x[for to: Missing ')' near 'rest']");
  EXPECT_EQ(error(expression_status::string_value), "x[for to: Variable has string value near 'rest']");
  EXPECT_EQ(error(expression_status::bad_name), "x[for to: Bad variable or table item name near 'rest']");
}

// --- against the reference ---

// The variables that the expressions below use.
const std::map<std::string, std::string> &test_variables() {
  static const std::map<std::string, std::string> variables = {
      {"v", "7"},
      {"n", "-2.5"},
      {"h", "0x1F"},
      {"o", "012"},
      {"s", "abc"},
      {"p", "+4x"},
      {"f", "0.5"},
      {"e", "  3e2"},
      {"w", " "},
      {"b", "-0x10"},
      {"x", "1e400"},
      {"inf", "inf"},
      {"a::b", "9"},
      {"big", "4294967296.75"},
      {"al", "-3"},
      {std::string(127, 'q'), "11"},
      {std::string(128, 'q'), "12"},
  };
  return variables;
}

class expression_reference : public testing::Test {
 protected:
  void SetUp() override {
    for (const auto &[name, value] : test_variables()) variable_set(name, text(value));
  }
  void TearDown() override {
    for (const auto &[name, value] : test_variables()) variable_set(name, text());
  }

  static bool agrees(const std::string &expression) {
    const expression_result result = evaluate_expression(expression);
    const reference_result expected = reference_evaluate(expression, test_variables());
    const bool same_sign = std::signbit(result.value) == std::signbit(expected.value);
    const bool same_value =
        std::isnan(expected.value) ? std::isnan(result.value) : result.value == expected.value && same_sign;
    EXPECT_EQ(static_cast<int>(result.status), expected.status) << expression;
    EXPECT_EQ(result.rest.size(), expected.rest) << expression;
    EXPECT_TRUE(same_value) << expression << ": " << result.value << ", expected " << expected.value;
    return !HasFailure();
  }

  quillet_tests::random_texts random_{20240229};

  std::size_t below(std::size_t limit) { return random_.number(limit); }

  template <std::size_t size>
  std::string one_of(const char *const (&choices)[size]) {
    return choices[below(size)];
  }

  std::string number() {
    static constexpr const char *numbers[] = {"0",
                                              "1",
                                              "2",
                                              "7",
                                              "31",
                                              "32",
                                              "255",
                                              "1000000",
                                              "2147483647",
                                              "2147483648",
                                              "1e10",
                                              "1e308",
                                              "1e400",
                                              ".5",
                                              "2.5",
                                              "0.5",
                                              "09",
                                              "010",
                                              "017",
                                              "0x1F",
                                              "0xg",
                                              "0x",
                                              "1e",
                                              "5.",
                                              "1.2.3",
                                              "0.0",
                                              ".",
                                              "3.999999999",
                                              "1e-3",
                                              "1E+2",
                                              "4294967295",
                                              "12345678901234567890",
                                              "123456789.123456789",
                                              "0xffffffffffffffffff",
                                              "9007199254740993"};
    return one_of(numbers);
  }
  std::string infix() {
    static constexpr const char *tokens[] = {"*",  "/",  "%",  "+",  "-", "<<", ">>", "<",  ">",
                                             "<=", ">=", "==", "!=", "&", "^",  "|",  "&&", "||"};
    return one_of(tokens);
  }
  std::string prefix() {
    static constexpr const char *tokens[] = {"!", "~", "round", "floor", "ceiling", "abs", "sqrt", "sign"};
    return one_of(tokens);
  }
  std::string name() {
    auto variable = test_variables().begin();
    std::advance(variable, below(test_variables().size()));
    return below(20) == 0 ? "none" : variable->first;
  }

  // An expression that mostly can be computed.
  std::string sensible(int depth) {
    switch (below(depth > 0 ? 8 : 3)) {
      case 0:
        return number();
      case 1:
        return below(6) == 0 ? "-" + number() : number();
      case 2:
        return below(3) == 0 ? name() : number();
      case 3:
        return "(" + sensible(depth - 1) + ")";
      case 4:
        return prefix() + sensible(depth - 1);
      default:
        return sensible(depth - 1) + infix() + sensible(depth - 1);
    }
  }

  // Tokens in no order at all.
  std::string soup() {
    static constexpr const char *others[] = {"(", ")", "(", ")", "=", "$", "'", "\x80", ":", "::", "_", "signal"};
    std::string made;
    for (std::size_t left = below(12); left > 0; --left) {
      switch (below(5)) {
        case 0:
          made += infix();
          break;
        case 1:
          made += prefix();
          break;
        case 2:
          made += one_of(others);
          break;
        case 3:
          made += name();
          break;
        default:
          made += number();
          break;
      }
    }
    return made;
  }
};

TEST_F(expression_reference, agrees_on_sensible_expressions) {
  for (int i = 0; i < 60000; ++i) {
    if (!agrees(sensible(4))) return;
  }
}

TEST_F(expression_reference, agrees_on_token_soup) {
  for (int i = 0; i < 60000; ++i) {
    if (!agrees(soup())) return;
  }
}

TEST_F(expression_reference, agrees_on_every_short_text) {
  static constexpr char bytes[] = "0.e+-*<!(xv)=";
  constexpr std::size_t choices = sizeof bytes - 1;
  for (std::size_t code = 0; code < choices * choices * choices * choices; ++code) {
    std::string expression;
    for (std::size_t rest = code; rest > 0; rest /= choices) expression += bytes[rest % choices];
    if (!agrees(expression)) return;
  }
}

TEST_F(expression_reference, agrees_on_every_pair_of_operators) {
  static constexpr const char *tokens[] = {"*",  "/",  "%",  "+",  "-", "<<", ">>", "<",  ">",
                                           "<=", ">=", "==", "!=", "&", "^",  "|",  "&&", "||"};
  for (const std::string first : tokens) {
    for (const std::string second : tokens) {
      for (const std::string third : tokens) {
        if (!agrees("6" + first + "3" + second + "2" + third + "5")) return;
      }
    }
  }
}

}  // namespace
}  // namespace quillet
