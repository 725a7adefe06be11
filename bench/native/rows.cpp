#include "page.h"

int main() {
  const std::string text = read_file("_rows-" + std::to_string(query_number()));
  std::string page = R"(<!DOCTYPE html>
<html lang="en">
<head><title>Catalogue</title></head>
<body>
<table>
)";
  page.reserve(2 * text.size());
  int rows = 0;
  for (std::string_view rest = text; !rest.empty(); ++rows) {
    std::string_view row = take(rest, '\n');
    page += "<tr>";
    for (int column = 0; column < 5; ++column) {
      page += "<td>";
      append_escaped(page, take(row, '\t'));
      page += "</td>";
    }
    page += "</tr>\n";
  }
  page += "</table>\n<p>";
  append_number(page, rows);
  page += " rows</p>\n</body>\n</html>\n";
  return answer(page);
}
