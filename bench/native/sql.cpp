// With the database's client library, dynamic as Debian has it.

#include <mysql.h>

#include "page.h"

int main() {
  const auto port = static_cast<unsigned>(std::atoi(read_file("_port").c_str()));
  MYSQL *database = mysql_init(nullptr);
  if (mysql_real_connect(database, "127.0.0.1", "bench", "secret", "shop", port, nullptr, 0) == nullptr) return 1;
  const std::string query =
      "select id, name, price, size, words from goods order by id limit " + std::to_string(query_number());
  if (mysql_real_query(database, query.data(), query.size()) != 0) return 1;
  MYSQL_RES *result = mysql_use_result(database);

  std::string page = R"(<!DOCTYPE html>
<html lang="en">
<head><title>Catalogue</title></head>
<body>
<table>
)";
  int rows = 0;
  for (MYSQL_ROW row; (row = mysql_fetch_row(result)) != nullptr; ++rows) {
    const unsigned long *lengths = mysql_fetch_lengths(result);
    page += "<tr>";
    for (int column = 0; column < 5; ++column) {
      page += "<td>";
      append_escaped(page, std::string_view(row[column], lengths[column]));
      page += "</td>";
    }
    page += "</tr>\n";
  }
  mysql_free_result(result);
  mysql_close(database);
  page += "</table>\n<p>";
  append_number(page, rows);
  page += " rows</p>\n</body>\n</html>\n";
  return answer(page);
}
