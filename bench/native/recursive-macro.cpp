#include "page.h"

namespace {

void append_down(std::string &page, int n) {
  if (n == 0) {
    page += 'x';
    return;
  }
  page += "<i>";
  append_down(page, n - 1);
  page += "</i>";
}

}  // namespace

int main() {
  std::string page;
  for (int k = 1; k <= 200; ++k) {
    page += "<p>";
    append_down(page, 200);
    page += "</p>\n";
  }
  return answer(page);
}
