#include "page.h"

namespace {

void append_product(std::string &page, std::string_view name, std::string_view price) {
  page += "<span class=\"product\">";
  page += name;
  page += "</span> for <span class=\"price\">";
  page += price;
  page += " euros</span>";
}

}  // namespace

// The text is in a file with 200 places "^macro[product;NAME;PRICE]".
int main() {
  const std::string text = read_file("page.html");
  constexpr std::string_view mark = "^macro[product;";
  std::string page;
  page.reserve(text.size() + text.size() / 50);
  std::string_view rest = text;
  for (std::size_t at; (at = rest.find(mark)) != rest.npos;) {
    page += rest.substr(0, at);
    rest.remove_prefix(at + mark.size());
    const std::string_view name = take(rest, ';');
    append_product(page, name, take(rest, ']'));
  }
  page += rest;
  return answer(page);
}
