#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "core/evaluator.h"
#include "core/text.h"
#include "main/modules.h"
#include "support.h"

namespace quillet {
namespace {

// The function that std::hash of this standard library mixes each eight bytes with can be undone: words of two
// blocks whose second one undoes what the first one did (MurmurHash64A).
constexpr std::uint64_t multiplier = 0xc6a4a7935bd1e995U;

std::uint64_t inverse_of_multiplier() {
  std::uint64_t inverse = multiplier;
  for (int i = 0; i < 6; ++i) inverse *= 2 - multiplier * inverse;  // Newton's iteration
  return inverse;
}

std::uint64_t mixed(std::uint64_t block) {
  block *= multiplier;
  block ^= block >> 47;
  return block * multiplier;
}

std::uint64_t unmixed(std::uint64_t block) {
  static const std::uint64_t inverse = inverse_of_multiplier();
  block *= inverse;
  block ^= block >> 47;
  return block * inverse;
}

// So many words of sixteen bytes that share their hash, joined by "|".
std::string words_of_one_hash(std::size_t count) {
  constexpr std::uint64_t start = 0xc70f6907U ^ (16 * multiplier);
  std::string words;
  for (std::uint64_t first = 0x6161616161616161U; count > 0; first += 3) {
    const std::uint64_t blocks[2] = {first, unmixed(((start ^ mixed(first)) * multiplier) ^ 1)};
    char word[16];
    std::memcpy(word, blocks, sizeof word);
    const std::string_view bytes(word, sizeof word);
    if (bytes.find('|') != std::string_view::npos || bytes.find('\0') != std::string_view::npos) continue;
    if (!words.empty()) words += '|';
    words += bytes;
    --count;
  }
  return words;
}

std::string called(std::string_view name, std::initializer_list<std::string_view> values) {
  register_all_operators();
  parameters parameters;
  for (const std::string_view value : values) parameters.add(value, true);
  text out;
  invoke_operator(name, parameters, out);
  return std::string(out.view());
}

TEST(words_of_one_hash, share_the_hash_of_the_standard_library) {
  const std::string words = words_of_one_hash(2);
  EXPECT_EQ(std::hash<std::string_view>()(words.substr(0, 16)), std::hash<std::string_view>()(words.substr(17)));
}

// With the standard library's hash each of these would take minutes.
TEST(option_sets, take_linear_time_for_words_chosen_to_share_a_hash) {
  const std::string words = words_of_one_hash(200'000);
  EXPECT_EQ(called("optionor", {words}), words);
  EXPECT_EQ(called("optionand", {words, words}), words);
  EXPECT_EQ(called("optionset", {words, words}), "yes");
}

// --- against the rule as it is told ---

std::vector<std::string> plain_words(std::string set) {
  std::vector<std::string> words;
  while (!set.empty()) {
    const std::size_t end = std::min(set.find('|'), set.size());
    words.push_back(set.substr(0, end));
    set.erase(0, end + 1);
  }
  return words;
}

bool is_in(const std::vector<std::string> &words, const std::string &word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

TEST(option_sets, follow_the_plain_rule_on_random_sets) {
  quillet_tests::random_texts random(31);
  constexpr std::string_view pieces[] = {"|", "|", "|", "a", "b", "c", "ab", "d", "e", "1", "2", "3", "x-"};
  for (int i = 0; i < 3000; ++i) {
    const std::size_t longest = i % 2 == 0 ? 10 : 150;
    const std::string sets[3] = {random.text(pieces, longest), random.text(pieces, longest),
                                 random.text(pieces, longest)};
    std::string either;
    std::string both;
    std::vector<std::string> seen;
    for (const std::string &set : sets) {
      for (const std::string &word : plain_words(set)) {
        if (is_in(seen, word)) continue;
        seen.push_back(word);
        either += (seen.size() > 1 ? "|" : "") + word;
      }
    }
    std::size_t common = 0;
    for (const std::string &word : seen) {
      const bool in_all =
          is_in(plain_words(sets[0]), word) && is_in(plain_words(sets[1]), word) && is_in(plain_words(sets[2]), word);
      if (in_all) both += (common++ > 0 ? "|" : "") + word;
    }
    bool holds = true;
    for (const std::string &word : plain_words(sets[1])) holds = holds && is_in(plain_words(sets[0]), word);
    ASSERT_EQ(called("optionor", {sets[0], sets[1], sets[2]}), either);
    ASSERT_EQ(called("optionand", {sets[0], sets[1], sets[2]}), both);
    ASSERT_EQ(called("optionset", {sets[0], sets[1]}), holds ? "yes" : "");
  }
}

}  // namespace
}  // namespace quillet
