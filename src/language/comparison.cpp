#include "language/comparison.h"

#include <algorithm>
#include <unordered_set>
#include <vector>

#include "cgi/request.h"
#include "core/evaluator.h"
#include "core/keyed_hash.h"
#include "core/operators.h"
#include "language/prepared_choices.h"

namespace quillet {

namespace {

// ^eq[a;b;then]
// ^eq[a;b;then;else]
//
// `then`, evaluated, when `a` and `b` are the same bytes, otherwise `else`.
//
// [eq: wrong params number]
void op_eq(parameters &parameters, text &out) {
  if (parameters.count() < 3 || parameters.count() > 4) return append_error(out, "eq", "wrong params number");
  const expansion a = evaluate(parameters[0]);
  const bool equal = a.view() == evaluate(parameters[1]).view();
  evaluate(parameters[equal ? 2 : 3], out);
}

// ^ifdef[value;then]
// ^ifdef[value;then;else]
//
// `then`, evaluated, when `value` gives any text, otherwise `else`.
//
// [ifdef: wrong params number]
void op_ifdef(parameters &parameters, text &out) {
  if (parameters.count() < 2 || parameters.count() > 3) return append_error(out, "ifdef", "wrong params number");
  // Deliberate: a value that is empty in the page itself counts as defined.
  const bool defined = parameters[0].empty() || !evaluate(parameters[0]).is_empty();
  evaluate(parameters[defined ? 1 : 2], out);
}

// ^start[prefix;then;else]
//
// `then`, evaluated, when the URL of the page begins with `prefix`, otherwise, and for an empty
// prefix, `else`.
void op_start(parameters &parameters, text &out) {
  const expansion prefix = evaluate(parameters[0]);
  const bool starts = !prefix.is_empty() && request.request_uri.view().starts_with(prefix.view());
  evaluate(parameters[starts ? 1 : 2], out);
}

// ^default[value;fallback]
//
// `value`, or `fallback` when it is empty.
void op_default(parameters &parameters, text &out) {
  const std::size_t before = out.size();
  evaluate(parameters[0], out);
  if (out.size() == before) evaluate(parameters[1], out);
}

// --- option sets -------------------------------------------------------------------------------
// Words separated by "|". Deliberate: an empty piece between two "|" is a word, one at the very end
// is none.

// Distinct words, in the order in which they were added. The words are views.
class word_set {
 public:
  word_set() = default;
  explicit word_set(std::string_view set) { add(set); }

  void add(std::string_view set) {
    while (!set.empty()) add_word(next_token(set, '|'));
  }
  [[nodiscard]] bool contains(std::string_view word) const {
    if (!index_.empty()) return index_.contains(word);
    return std::find(words_.begin(), words_.end(), word) != words_.end();
  }
  [[nodiscard]] const std::vector<std::string_view> &words() const { return words_; }

 private:
  static constexpr std::size_t largest_without_index = 16;

  void add_word(std::string_view word) {
    if (contains(word)) return;
    words_.push_back(word);
    if (!index_.empty()) {
      index_.insert(word);
    } else if (words_.size() > largest_without_index) {
      index_.insert(words_.begin(), words_.end());
    }
  }

  std::vector<std::string_view> words_;
  std::unordered_set<std::string_view, keyed_hasher> index_;  // of the words, once they are many
};

// Appends the words joined by "|".
void append_words(const std::vector<std::string_view> &words, text &out) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) out.append('|');
    out.append(words[i]);
  }
}

// ^optionset[set;words]
//
// "yes" when every one of the words is in the set, so also for no words at all; otherwise no text.
void op_optionset(parameters &parameters, text &out) {
  const word_set set(parameters[0]);
  for (std::string_view words = parameters[1]; !words.empty();) {
    if (!set.contains(next_token(words, '|'))) return;
  }
  out.append("yes");
}

// ^optionclear[set;word]
//
// The set without the first such word. `word` is one word, "|" in it means nothing.
void op_optionclear(parameters &parameters, text &out) {
  const std::string_view set = parameters[0];
  for (std::string_view rest = set; !rest.empty();) {
    const std::string_view word = next_token(rest, '|');
    if (word != parameters[1]) continue;
    const std::string_view before = set.substr(0, static_cast<std::size_t>(word.data() - set.data()));
    if (rest.data() != nullptr) {
      out.append(before);
      return out.append(rest);
    }
    return out.append(before.substr(0, before.empty() ? 0 : before.size() - 1));
  }
  out.append(set);
}

// ^optionor[set;set;...]
//
// The words of all sets, each once, in the order in which they are first seen.
void op_optionor(parameters &parameters, text &out) {
  word_set all;
  for (int i = 0; i < parameters.count(); ++i) all.add(parameters[i]);
  append_words(all.words(), out);
}

// ^optionand[set;set;...]
//
// The words that are in every set, each once, in the order of the first set.
void op_optionand(parameters &parameters, text &out) {
  std::vector<std::string_view> common = word_set(parameters[0]).words();
  for (int i = 1; i < parameters.count(); ++i) {
    const word_set set(parameters[i]);
    std::erase_if(common, [&set](std::string_view word) { return !set.contains(word); });
  }
  append_words(common, out);
}

// ^optioncount[set]
//
// The number of words in the set.
void op_optioncount(parameters &parameters, text &out) {
  long long count = 0;
  for (std::string_view rest = parameters[0]; !rest.empty(); next_token(rest, '|')) ++count;
  out.append(decimal_digits(count));
}

// ^cmp[a;b;less;equal;greater]
//
// One of the last three, evaluated, as the whole number `a` is less than, equal to or greater than
// `b`. Bytes after the digits are ignored; a text without a number is 0.
void op_cmp(parameters &parameters, text &out) {
  const int a = parse_int(evaluate(parameters[0]));
  const int b = parse_int(evaluate(parameters[1]));
  evaluate(parameters[a < b ? 2 : a == b ? 3 : 4], out);
}

constexpr operator_definition module[] = {
    {"eq", op_eq, 0, lazy, "^eq[a;b;then] ^eq[a;b;then;else]", "Chooses a text by whether two texts are equal.", !pure,
     prepare_eq},
    {"ifdef", op_ifdef, 0, lazy, "^ifdef[value;then] ^ifdef[value;then;else]",
     "Chooses a text by whether a value is empty."},
    {"start", op_start, 3, lazy, "^start[prefix;then;else]", "Chooses a text by how the URL of the page begins."},
    {"default", op_default, 2, lazy, "^default[value;fallback]", "A text, or another one if it is empty."},
    {"optionset", op_optionset, 2, evaluated, "^optionset[set;words]", "Whether all words are in the set."},
    {"optionclear", op_optionclear, 2, evaluated, "^optionclear[set;word]", "A set without one of its words."},
    {"optionor", op_optionor, 0, evaluated, "^optionor[set;set;...]", "The words that are in any of the sets."},
    {"optionand", op_optionand, 0, evaluated, "^optionand[set;set;...]", "The words that are in all of the sets."},
    {"optioncount", op_optioncount, 0, evaluated, "^optioncount[set]", "The number of words in a set."},
    {"cmp", op_cmp, 5, lazy, "^cmp[a;b;less;equal;greater]", "Chooses a text by comparing two whole numbers."},
};

}  // namespace

void register_comparison_operators() { register_operators(module); }

}  // namespace quillet
