// The rule name-reference: references to a macro's arguments.
#include <string>
#include <vector>

#include "core/text.h"
#include "dev/check/near_name.h"
#include "dev/check/rules.h"
#include "macro/macro_library.h"

namespace quillet::dev {

file_rule check_references;

namespace {

bool is_word_byte(char c) { return is_letter(c) || is_digit(c) || c == '_'; }

std::string_view word_at(std::string_view source) {
  std::size_t length = 0;
  while (length < source.size() && is_word_byte(source[length])) ++length;
  return source.substr(0, length);
}

std::vector<std::string_view> split_names(std::string_view names) {
  std::vector<std::string_view> split;
  while (names.data() != nullptr && !names.empty()) split.push_back(next_token(names, ';'));
  return split;
}

// What is wrong with a reference that no name matches. `rest` is the text after its "$".
std::string describe_unknown(std::string_view rest, const std::vector<std::string_view> &names) {
  const std::string_view word = word_at(rest);
  if (word.empty()) return "a \"$\" here gives a message; write $$ for the character";
  const std::string shown(word);
  for (const std::string_view name : names) {
    if (name.find(word) != std::string_view::npos && word_at(name.substr(name.find(word))) == word) {
      return "no parameter is $" + shown + ": in the header it is \"" + std::string(name) + "\", with a blank";
    }
  }
  return "no parameter is $" + shown + ask_for_near_name(word, names);
}

std::string describe_prefix(const std::string &meant, const std::string &taken) {
  return "$" + meant + " is read as $" + taken + ": name " + meant + " before " + taken + " in the header";
}

// The longest name that the text begins with.
std::string_view longest_match(std::string_view rest, const std::vector<std::string_view> &names) {
  std::string_view longest;
  for (const std::string_view name : names) {
    if (name.size() > longest.size() && rest.starts_with(name)) longest = name;
  }
  return longest;
}

void check_body(const document &file, std::string_view parameter_names, text_range body, finding_list &found) {
  const std::vector<std::string_view> names = split_names(parameter_names);
  if (names.empty()) return;
  for (std::size_t at = body.begin; (at = file.text().find('$', at)) < body.end; ++at) {
    const std::string_view rest = file.text({at + 1, body.end});
    if (rest.starts_with('$')) ++at;
    if (rest.starts_with('$') || (!rest.empty() && is_digit(rest.front()))) continue;
    std::size_t length = 0;
    if (find_parameter_name(parameter_names, rest, length) == 0) {
      const text_range part{at + 1, at + 1 + word_at(rest).size()};
      found.add("name-reference", file, {at, part.end}, describe_unknown(rest, names),
                fix_near_name(file, part, find_near_name(file.text(part), names)));
    } else if (const std::string_view longest = longest_match(rest, names); longest.size() > length) {
      found.add("name-reference", file, {at, at + 1 + longest.size()},
                describe_prefix(std::string(longest), std::string(rest.substr(0, length))));
    }
  }
}

// A macro made by the page. In the body of a macro with parameters, that one's references come first.
void check_new_macro(const document &file, const call &each, finding_list &found) {
  if (file.text(each.name) != "macro_new" || each.parameters.size() != 2) return;
  const macro_header header = split_header(file.text(each.parameters[0].range));
  check_body(file, header.parameter_names, each.parameters[1].range, found);
}

}  // namespace

void check_references(const document &file, const checked_site &, finding_list &found) {
  for (const macro_block &each : file.macros()) {
    if (each.parameters.empty()) continue;
    check_body(file, file.text({each.parameters.front().begin, each.parameters.back().end}), each.body.range, found);
  }
  for (const template_text *body : file.templates()) {
    const macro_block *const inside = file.macro_of(*body);
    if (inside != nullptr && !inside->parameters.empty()) continue;
    for_each_call(file.text(), *body, [&](const call &each, auto) { check_new_macro(file, each, found); });
  }
}

}  // namespace quillet::dev
