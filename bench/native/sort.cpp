#include <algorithm>
#include <charconv>
#include <vector>

#include "page.h"

namespace {

struct row {
  double price;
  std::string_view name;
};

row read_row(std::string_view line) {
  row result{};
  take(line, '\t');
  result.name = take(line, '\t');
  const std::string_view price = take(line, '\t');
  std::from_chars(price.data(), price.data() + price.size(), result.price);
  return result;
}

}  // namespace

int main() {
  const std::string text = read_file("_rows");
  std::vector<row> rows;
  for (std::string_view rest = text; !rest.empty();) rows.push_back(read_row(take(rest, '\n')));
  std::stable_sort(rows.begin(), rows.end(), [](const row &a, const row &b) { return a.price < b.price; });
  std::string page = "<ol>\n";
  for (const row &each : rows) {
    page += "<li>";
    append_escaped(page, each.name);
    page += "</li>\n";
  }
  page += "</ol>\n";
  return answer(page);
}
