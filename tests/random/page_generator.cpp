#include "page_generator.h"

#include "page_texts.h"
#include "trap_pages.h"

namespace quillet_tests {

namespace {

// Pages of everything.
class mixed_page : page_texts {
 public:
  explicit mixed_page(std::uint64_t seed) : page_texts(seed) {}

  std::string page() {
    stray_in_ = one_of_numbers({12, 60, 100000});
    const std::string made = start();
    switch (random_.below(8)) {
      case 0:
        return macro_page(made);
      case 1:
      case 2:
        return made + changing_loop();
      case 3:
        return made + deep();
      default:
        return made + text(3) + loop(2) + text(2);
    }
  }

 private:
  // Something to look at: variables, macros, tables.
  std::string start() {
    // Texts may double g times.
    std::string made = "^var[g;" + number(12) + "]^var[h;" + number(300) + "]";
    for (const std::string_view name : {"n", "a", "s", "i"}) {
      if (!random_.one_in(4))
        made += "^var[" + std::string(name) + ";" + (random_.one_in(2) ? number(30) : word()) + "]";
    }
    for (const std::string_view name : {"m", "two", "list"}) {
      if (!random_.one_in(3)) made += "^macro_new[" + std::string(name) + "[who;what];" + macro_body(1) + "]";
    }
    for (const std::string_view name : {"t", "u"}) {
      if (!random_.one_in(3))
        made += "^context[" + std::string(name) + "]^config[named;name\tprice\tx\n" + rows() + "]";
    }
    for (std::size_t n = random_.below(4); n > 0; --n) made += change(1);
    return made;
  }

  // The change comes when the loop has gone round a few times.
  std::string changing_loop() {
    const std::string pass = one_of({"2", "5", "40"});
    std::string change_then = random_.one_in(4) ? table_body(1) : change(1);
    if (random_.one_in(6)) change_then = mistake(1);
    if (random_.one_in(6)) change_then = "^macro_new[m[who];" + macro_body(1) + "]";
    const std::string body =
        text(2) + "^if[" + one_of({"i", "^var[i]"}) + "==" + pass + ";" + change_then + "]" + text(2);
    switch (random_.below(4)) {
      case 0:
        return "^macro_new[m;" + body + "]^for[i;1;42;^macro[m;" + text(1) + "],]";
      case 1:
        return "^var[i;0]^config[named;name\tprice\n" + std::string(42, '\n') + tall_rows() + "]^menu[^var[i;+;1]" +
               body + ";,]";
      case 2:
        return "^var[i;0]^while[i<42;^var[i;+;1]" + body + "]";
      default:
        return "^for[i;1;42;" + body + ";" + one_of({"", ","}) + "]";
    }
  }
  std::string tall_rows() {
    std::string made;
    for (int i = 0; i < 42; ++i) made += word() + "\t" + number(9) + "\n";
    return made;
  }

  // Calls nested up to the limit, and past it.
  std::string deep() {
    const std::string body = one_of({"", "<"}) + "^macro[down" + one_of({"", ";$1", ";x"}) + "]" + text(1);
    switch (random_.below(3)) {
      case 0:
        return "^macro_new[down;" + body + "]" + text(1) + "^macro[down;a]" + text(1);
      case 1:
        return "^macro_new[down;" + text(1) + "^if[h>0;^var[h;-;1]" + body + ";" + text(1) +
               "]]^for[i;1;3;^macro[down]]";
      default: {
        std::string nested = text(1);
        const std::size_t levels = random_.one_in(3) ? 990 + random_.below(15) : random_.below(40);
        const std::string open =
            one_of({"^eq[a;a;", "^if[1;", "^default[;", "^toupper[", "^eq[`;`;`;`;", "^default[``;"});
        for (std::size_t i = 0; i < levels; ++i) nested = open + nested + "]";
        return nested + text(1);
      }
    }
  }

  // A page of definitions, with `autoexec` and `main`.
  std::string macro_page(const std::string &start) {
    std::string made = random_.one_in(3) ? "comment\n" : "";
    if (random_.one_in(2)) made += "@autoexec\n" + start + text(1) + "\n\n";
    made +=
        "@m[who;what]\n" + macro_body(1) + "\n@two\n" + macro_body(1) + "\n@list[a;ab]\n$ab$a" + macro_body(2) + "\n";
    return made + "@main\n" + start + "^for[i;1;6;" + macro_call(2) + macro_call(1) + "]" + text(2) + "\n";
  }
};

}  // namespace

std::string make_page(std::uint64_t seed) { return seed % 3 == 0 ? mixed_page(seed).page() : make_trap_page(seed); }

}  // namespace quillet_tests
