// With the C library's regular expressions.

#include <regex.h>

#include "page.h"

int main() {
  std::string file = read_file("_text-" + std::to_string(query_number()));
  file.pop_back();
  std::string text;
  append_escaped(text, file);

  regex_t expression;
  if (regcomp(&expression, "([a-z]+) ([0-9]+)", REG_EXTENDED) != 0) return 1;
  std::string page = "<p>";
  page.reserve(2 * text.size());
  regoff_t from = 0;
  regmatch_t groups[3];
  const auto piece = [&](regoff_t start, regoff_t end) {
    return std::string_view(text).substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start));
  };
  const auto size = static_cast<regoff_t>(text.size());
  for (;;) {
    groups[0] = {from, size};
    if (regexec(&expression, text.c_str(), 3, groups, REG_STARTEND) != 0) break;
    page += piece(from, groups[0].rm_so);
    page += "<b>";
    page += piece(groups[2].rm_so, groups[2].rm_eo);
    page += "</b> ";
    page += piece(groups[1].rm_so, groups[1].rm_eo);
    from = groups[0].rm_eo;
  }
  page += piece(from, size);
  page += "</p>\n";
  regfree(&expression);
  return answer(page);
}
