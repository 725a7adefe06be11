#include <algorithm>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "core/keyed_hash.h"
#include "core/operators.h"

namespace quillet {

namespace {

// An option set: words separated by "|". Deliberate: an empty piece between two "|" is a word, one at the very end
// is none.

// Distinct words, in the order in which they were added. The words are views.
class word_set {
 public:
  word_set() = default;
  explicit word_set(std::string_view set) { add(set); }

  void add(std::string_view set) {
    // An index that grows hashes all its words again and again.
    const auto separators = static_cast<std::size_t>(std::count(set.begin(), set.end(), '|'));
    if (separators >= largest_without_index) index_.reserve(words_.size() + separators + 1);
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

constexpr operator_definition definitions[] = {
    {"optionset", op_optionset, 2, evaluated, "^optionset[set;words]", "Whether all words are in the set."},
    {"optionclear", op_optionclear, 2, evaluated, "^optionclear[set;word]", "A set without one of its words."},
    {"optionor", op_optionor, 0, evaluated, "^optionor[set;set;...]", "The words that are in any of the sets."},
    {"optionand", op_optionand, 0, evaluated, "^optionand[set;set;...]", "The words that are in all of the sets."},
    {"optioncount", op_optioncount, 0, evaluated, "^optioncount[set]", "The number of words in a set."},
};

}  // namespace

extern const operator_module option_operators{"language/options.cpp", definitions};

}  // namespace quillet
