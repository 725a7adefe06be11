#include "page.h"

int main() {
  std::string page;
  for (int i = 1; i <= 50; ++i) page += read_file("piece-" + std::to_string(i) + ".html");
  return answer(page);
}
