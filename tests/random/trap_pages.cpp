#include "trap_pages.h"

#include "trap_probes.h"

namespace quillet_tests {

namespace {

class trap_page : trap_probes {
 public:
  explicit trap_page(std::uint64_t seed) : trap_probes(seed) {
    stray_in_ = one_of_numbers({30, 200, 100000});
    variables_ = {"n", "n", "a", "i"};
    if (random_.one_in(3)) variables_ = {"n", "a", "b", "s", "i", "nothing"};
    macros_ = {"m", "m", "two"};
    tables_ = {"t", "t", "u"};
    subject_ = random_.one_in(6) ? trap_subject::expressions : static_cast<trap_subject>(random_.below(trap_subjects));
  }

  std::string page() {
    const std::size_t pass = one_of_numbers({1, 2, 2, 3, 5, 5, 40});
    std::string main = beginning() + leaks(pass);
    main += passes(body(pass), pass + 1 + random_.below(2));
    if (random_.one_in(3)) main += "|" + any_probe();
    if (!random_.one_in(5)) return macros(false) + main;
    return macros(true) + "@main\n" + main + "\n";
  }

 private:
  trap_subject subject() {
    return random_.one_in(6) ? static_cast<trap_subject>(random_.below(trap_subjects)) : subject_;
  }
  std::string any_probe() { return probe(subject()); }

  std::string beginning() {
    // Texts may double g times.
    std::string made = "^var[g;" + number(12) + "]^var[h;" + number(60) + "]";
    for (const std::string_view name : {"n", "a", "b"}) {
      if (!random_.one_in(5)) {
        made += "^var[" + std::string(name) + ";" + (random_.one_in(2) ? number(12) : edge_value()) + "]";
      }
    }
    made += "^var[s;" + one_of({"n", "a", "m", "sql", "none", "^^var[n]", "x", "-N", "price"}) + "]";
    for (const std::string_view name : {"u", "t"}) {
      if (random_.one_in(5)) continue;
      made += "^context[" + std::string(name) + "]" + one_of({"^config[", "^config[named;", "^config[named;"}) +
              named_rows(random_.below(6)) + "]";
    }
    return made;
  }

  // As definitions of the page, or by calls, where their brackets must balance.
  std::string macros(bool as_definitions) {
    std::string made;
    for (const std::string_view name : {"m", "two"}) {
      if (random_.one_in(6)) continue;
      const std::string header = std::string(name) + one_of({"", "[who;what]", "[w;who]", "[what;who;w]"});
      made += as_definitions ? "@" + header + "\n" + body_with_arguments() + "\n"
                             : "^macro_new[" + header + ";" + body_with_arguments() + "]";
    }
    return made;
  }

  // Calls that stay counted, so that the limit of their depth is reached in the loop, where each pass adds one.
  std::string leaks(std::size_t pass) {
    is_leaking_ = random_.one_in(10);
    return is_leaking_ ? "^for[leaked;1;" + std::to_string(999 - random_.below(pass + 14)) + ";^x[]]" : "";
  }

  // What is looked at, and the change that comes at the pass.
  std::string body(std::size_t pass) {
    std::string made = subject_ <= trap_subject::holes && random_.one_in(2) ? integers() : "";
    const std::size_t pieces = 1 + random_.below(3);
    const std::size_t changed = random_.below(pieces + 1);
    for (std::size_t piece = 0; piece <= pieces; ++piece) {
      if (piece == changed) {
        made += at_pass(pass, disturb(subject()));
        if (random_.one_in(4)) made += at_pass(pass + 1, disturb(subject()));
      }
      if (piece < pieces) made += any_probe() + one_of({"", ",", " ", ";"});
    }
    if (is_leaking_) made += "^x[]";
    if (random_.one_in(12)) return "^level[" + one_of({"sql", "none", "^var[s]", "config"}) + ";" + made + "]";
    if (random_.one_in(12)) return "^for[" + one_of({"j", "k", "n"}) + ";1;2;" + made + "]";
    if (random_.one_in(12)) return "^if[" + hole_condition() + ";" + made + ";" + any_probe() + "]";
    if (random_.one_in(12)) return "^context[" + table_name() + ";" + made + "]";
    return made;
  }
  // In a loop these set variables to integers, without a text.
  std::string integers() {
    std::string made;
    for (std::size_t n = 1 + random_.below(3); n > 0; --n) {
      made += "^var[" + variable() +
              one_of({";%d;i-3]", ";%d;-i]", ";%d;0]", ";*;-1]", ";+;-3]", ";-;1]", ";%d;i%3]", ";%d;n+1]", ";*;0]",
                      ";%d;2147483647]", ";%d;0-2147483648]", ";*;46341]", ";%d;-n]", ";/;2]", ";%d;^var[n]]"});
    }
    return made;
  }
  std::string hole_condition() { return "^var[n]" + infix() + number(9); }

  std::string at_pass(std::size_t pass, const std::string &change) {
    const std::string number = std::to_string(pass);
    switch (random_.below(5)) {
      case 0:
        return "^eq[^var[i];" + number + ";" + change + "]";
      case 1:
        return "^if[^var[i]==" + number + ";" + change + "]";
      case 2:
        return "^switch[^var[i];^case[" + number + ";" + change + "]]";
      default:
        return "^if[i==" + number + ";" + change + "]";
    }
  }

  // The body again and again, with the variable `i` counting.
  std::string passes(const std::string &body, std::size_t count) {
    const std::string end = std::to_string(count);
    const std::string counted = "^var[i;+;1]" + body;
    // Ends also where the body sets the counter back each time.
    const std::string ended = counted + "^var[runs;+;1]^if[runs>" + std::to_string(count + 9) + ";^var[i;9999]]";
    std::string lines;
    for (std::size_t i = 0; i < count; ++i) lines += "row\t" + std::to_string(i) + "\n";
    switch (random_.below(16)) {
      case 0:
        return "^var[i;0]^while[i<" + end + ";" + ended + "]";
      case 1:
        return "^var[i;0]^context[w;^config[" + lines + "]^menu[" + counted + ";,]]";
      case 2:
        return "^var[i;0]^context[t]^config[named;name\tprice\n" + lines + "]" +
               (random_.one_in(3) ? "^table[3;" + counted + "]" : "^menu[" + counted + ";,]");
      case 3:
        return "^var[i;0]^match[x;g;" + counted + ";" + std::string(count, 'x') + "]";
      case 4:
        return "^macro_new[run;" + body + "]^for[i;1;" + end + ";^macro[run]]";
      case 5:
        return "^macro_new[run;" + body + one_of({"$1", "$2", "^var[$1]"}) + "]^for[i;1;" + end + ";^macro[run;" +
               one_of({"n", "a;b", "^var[i]", ";"}) + "]]";
      case 6:
        return "^var[i;0]^macro_new[run;" + ended + "^if[i<" + end + ";^macro[run]]]^macro[run]";
      case 7:
        return "^var[i;0]^context[w;^config[" + lines + "]^sort[" + counted + "^item[1];-N]^menu[^item[1],]]";
      case 8:
        return "^for[b;1;2;^for[i;1;" + end + ";" + body + "]|]";
      case 9:
        return "^macro_new[run;" + body + "]^for[i;1;" + end + ";^macro[run]^if[i==2;" + disturb(subject()) + "]]";
      default:
        return "^for[i;" + one_of({"1", "1", "1", "0", "-3"}) + ";" + end + ";" + body +
               one_of({"", ";,", ";^var[n]"}) + "]";
    }
  }

  trap_subject subject_;
  bool is_leaking_ = false;
};

}  // namespace

std::string make_trap_page(std::uint64_t seed) { return trap_page(seed).page(); }

}  // namespace quillet_tests
