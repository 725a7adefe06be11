#include <map>

#include "page.h"

namespace {

std::string_view amount(int n) {
  switch (n) {
    case 0:
      return "none";
    case 1:
      return "one";
    case 2:
      return "a pair";
    case 3:
    case 4:
      return "a few";
    default:
      return "many";
  }
}

void append_price(std::string &page, std::string_view name, int number) {
  append_escaped(page, name);
  page += ": ";
  append_number(page, number);
  page += " euros";
}

}  // namespace

int main() {
  const std::string text = read_file("_goods");
  std::string_view rest = text;
  std::string_view names = take(rest, '\n');
  std::string_view cells = take(rest, '\n');
  std::map<std::string_view, std::string_view> item;
  while (!names.empty()) {
    const std::string_view name = take(names, '\t');
    item[name] = take(cells, '\t');
  }

  std::string page = "<ul>\n";
  const int last = query_number();
  for (int i = 1; i <= last; ++i) {
    const int n = i % 10;
    page += n > 5 ? "<li><b>" : "<li>";
    append_number(page, i);
    if (n > 5) page += "</b>";
    page += n == 7 ? " last " : " more ";
    page += amount(n);
    page += ' ';
    append_price(page, item["name"], n);
    page += "</li>\n";
  }
  page += "</ul>\n";
  return answer(page);
}
