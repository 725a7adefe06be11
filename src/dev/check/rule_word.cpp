// The rule name-word: parameters in which only certain words count.
#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <string_view>

#include "cgi/charset.h"
#include "core/quoting.h"
#include "core/text.h"
#include "dev/check/known_words.h"
#include "dev/check/near_name.h"
#include "dev/check/rules.h"
#include "dev/page/literal.h"
#include "table/sort.h"

namespace quillet::dev {

file_rule check_words;

namespace {

using words = std::span<const std::string_view>;

std::array<std::string_view, 5> quoting_modes() {
  std::array<std::string_view, 5> names;
  for (std::size_t i = 0; i < names.size(); ++i) names[i] = quoting_mode_name(static_cast<int>(i) + 1);
  return names;
}

constexpr std::array<std::string_view, 5> config_words = {"append", "insert", "join", "named", "remove"};
constexpr std::array<std::string_view, 5> stat_words = {"atime", "mtime", "ctime", "size", "fsize"};
constexpr std::array<std::string_view, 2> browser_words = {"ie", "nn"};
constexpr std::array<std::string_view, 1> include_words = {"asis"};
constexpr std::array<std::string_view, 3> optimize_words = {"no", "yes", "on"};
constexpr std::array<std::string_view, 4> calendar_words = {"month", "week", "montheng", "weekeng"};
const std::array<std::string_view, 5> level_words = quoting_modes();

std::string list_words(words known) {
  std::string list;
  for (std::size_t i = 0; i < known.size(); ++i) {
    if (i > 0) list += i + 1 == known.size() ? " or " : ", ";
    list += known[i];
  }
  return list;
}

// What a word that means nothing does.
struct word_use {
  std::string_view name;
  std::size_t least_parameters;  // with fewer the parameter is no word
  std::size_t most_parameters;
  words known;
  std::string_view effect;
};

const word_use uses[] = {
    {"browser", 2, 2, browser_words, "no browser is of the kind"},
    {"calendar", 1, 19, calendar_words, "no calendar is made for"},
    {"config", 2, 19, config_words, "the lines go before the first row for"},
    {"include", 2, 2, include_words, "the file is evaluated with"},
    {"level", 2, 2, level_words, "the quoting mode does not change for"},
    {"optimize", 1, 1, optimize_words, "the optimizer stays on for"},
    {"stat", 2, 19, stat_words, "the result is 0 for"},
};

bool is_known(const word_use &use, std::string_view word) {
  if (use.name == "calendar") return word.starts_with("month") || word.starts_with("week");
  return std::find(use.known.begin(), use.known.end(), word) != use.known.end();
}

void check_word(const document &file, const call &each, finding_list &found) {
  const std::string_view name = file.text(each.name);
  for (const word_use &use : uses) {
    const std::size_t count = each.parameters.size();
    if (use.name != name || count < use.least_parameters || count > use.most_parameters) continue;
    const std::optional<std::string> word = literal_parameter(file, each, 0);
    if (!word || is_known(use, *word) || (word->empty() && name == "optimize")) return;
    if (found.has_within("call-ignored", file, each.range)) return;  // a ";" has made a word of what is none
    const std::string near(find_near_name(*word, use.known));
    found.add("name-word", file, each.parameters[0].range,
              std::string(use.effect) + " \"" + *word + "\"; " +
                  (near.empty() ? "the words are " + list_words(use.known) : "did you mean " + near + "?"),
              fix_near_name(file, each.parameters[0].range, near));
  }
}

void check_number(const document &file, const call &each, finding_list &found) {
  if (file.text(each.name) != "table" || each.parameters.size() < 2) return;
  const std::optional<std::string> columns = literal_parameter(file, each, 0);
  if (!columns || parse_int(*columns) > 0) return;
  found.add("name-word", file, each.parameters[0].range,
            "table takes the number of columns first; for \"" + *columns + "\" it writes nothing");
}

void check_order(const document &file, const call &each, finding_list &found) {
  if (file.text(each.name) != "sort" || each.parameters.size() != 2) return;
  const std::optional<std::string> order = literal_parameter(file, each, 1);
  if (!order || (is_sort_order(*order) && !order->empty())) return;
  found.add("name-word", file, each.parameters[1].range,
            "the order \"" + *order +
                "\" sorts nothing; it is A for text, N for numbers or D for whole numbers, with - before it for "
                "descending and | between several");
}

// `.profile` is read after the program has looked at the charset settings.
void check_profile(const document &profile, finding_list &found) {
  const source_file &source = profile.source();
  for (std::size_t number = 1; number <= source.line_count(); ++number) {
    for (const std::string_view name : {"CHARSET", "SOURCE_CHARSET"}) {
      const std::string_view line = source.line(number);
      if (!line.starts_with(name) || !line.substr(name.size()).starts_with('=')) continue;
      const std::size_t start = source.start_of_line(number);
      found.add_in_source("name-word", source, {start, start + name.size()},
                          std::string(name) + " comes too late in .profile; set it in the web server");
    }
  }
}

std::string_view take_word(std::string_view &line) {
  constexpr std::string_view blanks = " \t";
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(blanks));
  line.remove_prefix(word.size());
  return word;
}

// SetEnv CHARSET windows-1251
void check_access_file(const document &settings, finding_list &found) {
  const source_file &source = settings.source();
  for (std::size_t number = 1; number <= source.line_count(); ++number) {
    std::string_view line = source.line(number);
    if (take_word(line) != "SetEnv") continue;
    const std::string_view name = take_word(line);
    const std::string_view value = take_word(line);
    if ((name != "CHARSET" && name != "SOURCE_CHARSET") || charset_number(value) != charset_none) continue;
    const auto start = static_cast<std::size_t>(value.data() - source.bytes().data());
    found.add_in_source(
        "name-word", source, {start, start + value.size()},
        std::string(name) + " knows Cyrillic charsets of one byte only, such as windows-1251 and koi8-r");
  }
}

}  // namespace

std::span<const std::string_view> known_words(std::string_view operator_name) {
  for (const word_use &use : uses) {
    if (use.name == operator_name) return use.known;
  }
  return {};
}

void check_words(const document &file, const checked_site &, finding_list &found) {
  if (file.path().ends_with("/.profile")) check_profile(file, found);
  if (file.path().ends_with("/.htaccess")) check_access_file(file, found);
  for (const template_text *body : file.templates()) {
    for_each_call(file.text(), *body, [&](const call &each, auto) {
      check_word(file, each, found);
      check_number(file, each, found);
      check_order(file, each, found);
    });
  }
}

}  // namespace quillet::dev
