#include "random_expression.h"

namespace {

constexpr std::string_view everyday_atoms[] = {"a",           "b",
                                               "c",           "ab",
                                               ".",           "[ab]",
                                               "[a-c]",       "[^a]",
                                               "[0-9]+",      "[a-z]+",
                                               "[[:digit:]]", "[[:space:]]",
                                               "[[:alpha:]]", "[[:alnum:]_]",
                                               "[^,]*",       "[^[:space:]]+",
                                               "\\.",         "1",
                                               "-",           ",",
                                               "@",           " ",
                                               "x",           "[a-cx-]",
                                               "[]a]",        "[^]b]",
                                               "\n",          "A",
                                               "[A-Z]",       "aa",
                                               "\xE4",        "[\xE0-\xFF]"};
constexpr std::string_view narrow_atoms[] = {"a", "b", "c", "ab", "ba", ".", "[ab]", "[bc]", "[^a]"};
constexpr std::string_view any_atoms[] = {"^",   "$",     "\\b",  "\\B",    "\\<",  "\\>", "\\`",       "\\'",
                                          "\\1", "\\2",   "\\w",  "\\W",    "\\s",  "\\S", "[[.a.]]",   "[[=a=]]",
                                          "()",  "(^|a)", "(a$)", "(a|ab)", "^*",   "{",   "[[.-.]-a]", "[[:upper:]]",
                                          "\\a", "\\{",   "}",    "\\3",    "(a*)", "(|b)"};
constexpr std::string_view nested_atoms[] = {"^", "$", "\\b", "\\<", "\\B", "\\1", ".", "[ab]", "a", ""};
constexpr std::string_view repetitions[] = {"*", "+", "?"};
constexpr std::string_view all_repetitions[] = {"*",    "+",    "?",     "{2}", "{1,2}", "{0,1}",
                                                "{2,}", "{,2}", "{0,3}", "{1}", "{0}",   "*?"};
constexpr std::string_view scraps[] = {"(",        ")",        "|",   "*",       "+",     "?",   "{",     "}",
                                       "{1",       "{2,1}",    "[",   "]",       "[^",    "[a-", "[b-a]", "[[:x",
                                       "[[:no:]]", "[[.xx.]]", "\\",  "\\9",     "a",     "b",   "^",     "$",
                                       ".",        "{1,2}",    "{,}", "{99999}", "[[=",   "\\1", "()",    "a*",
                                       "(a)",      "[]",       "[^]", "{a}",     "[a-a]", "-",   ",",     "[[.a.]-z]"};

std::string atom(random_numbers &random, expression_kind kind) {
  if (kind == expression_kind::nested) return std::string(random.one_of(nested_atoms));
  if (kind == expression_kind::narrow) return std::string(random.one_of(narrow_atoms));
  if (kind == expression_kind::any && random.one_in(3)) return std::string(random.one_of(any_atoms));
  return std::string(random.one_of(everyday_atoms));
}

void append_repetitions(random_numbers &random, expression_kind kind, std::string &out) {
  if (kind == expression_kind::everyday || kind == expression_kind::narrow) {
    if (random.one_in(3)) out += random.one_of(repetitions);
  } else if (kind == expression_kind::any) {
    if (random.one_in(3)) out += random.one_of(all_repetitions);
    if (random.one_in(12)) out += random.one_of(all_repetitions);
  } else {
    while (random.one_in(2)) out += random.one_of(all_repetitions);
  }
}

void append_sequence(random_numbers &random, expression_kind kind, unsigned depth, std::string &out) {
  const unsigned length = 1 + random.below(3);
  for (unsigned i = 0; i < length; ++i) {
    if (depth > 0 && random.one_in(3)) {
      out += '(';
      append_sequence(random, kind, depth - 1, out);
      while (random.one_in(3)) {
        out += '|';
        append_sequence(random, kind, depth - 1, out);
      }
      out += ')';
    } else {
      out += atom(random, kind);
    }
    append_repetitions(random, kind, out);
  }
}

}  // namespace

std::string random_expression(random_numbers &random, expression_kind kind) {
  std::string expression;
  if (kind == expression_kind::broken) {
    const unsigned length = 1 + random.below(8);
    for (unsigned i = 0; i < length; ++i) expression += random.one_of(scraps);
    return expression;
  }
  append_sequence(random, kind, 3, expression);
  while (random.one_in(5)) {
    expression += '|';
    append_sequence(random, kind, 2, expression);
  }
  return expression.empty() ? "a" : expression;
}

std::string random_text(random_numbers &random, std::string_view expression, unsigned longest) {
  const bool is_narrow = expression.find_first_not_of("abc.[]^()|*+?") == std::string_view::npos;
  constexpr std::string_view narrow_others = "abc";
  constexpr std::string_view others = "aabbcAB01,- @x\n\xE4._";
  std::string result;
  const unsigned length = random.below(longest + 1);
  for (unsigned i = 0; i < length; ++i) {
    const std::string_view from = is_narrow ? narrow_others : random.one_in(3) ? expression : others;
    result += from[random.below(static_cast<unsigned>(from.size()))];
  }
  return result;
}
