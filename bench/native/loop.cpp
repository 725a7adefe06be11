#include "page.h"

int main() {
  std::string page = "<ul>\n";
  int s = 0;
  const int n = query_number();
  for (int i = 1; i <= n; ++i) {
    s += i % 3 == 0 ? i % 10 : -1;
    if (i % 1000 == 0) {
      page += "<li>";
      append_number(page, s);
      page += "</li>\n";
    }
  }
  page += "</ul>\n";
  return answer(page);
}
