#include "page_pieces.h"

namespace quillet_tests {

std::size_t page_pieces::one_of_numbers(std::initializer_list<std::size_t> list) {
  return list.begin()[random_.below(list.size())];
}

std::string page_pieces::one_of(names list) { return std::string(list.begin()[random_.below(list.size())]); }
std::string page_pieces::number(std::size_t limit) { return std::to_string(random_.below(limit)); }
std::string page_pieces::word() {
  return one_of({"a",   "b",   "x", "yes", "7",  "12",    "0",       "-3", "1.5", "<i>", "\"q\"", "O'N",  "a|b|c",
                 "c|a", "red", " ", "\n",  "\t", "12abc", "DEFAULT", "$",  "%d",  "&",   "e5",    "0x1F", "017"});
}

std::string page_pieces::variable() { return std::string(variables_[random_.below(variables_.size())]); }
std::string page_pieces::macro_name() { return std::string(macros_[random_.below(macros_.size())]); }
std::string page_pieces::table_name() { return std::string(tables_[random_.below(tables_.size())]); }
std::string page_pieces::column() {
  return one_of({"0", "1", "2", "name", "price", "current", "count", "number", "9", "nix"});
}
std::string page_pieces::format() {
  return one_of({"%d", "%d", "%d", "%.2f", "%5d", "%x", "%05.1f", "%s", "Total %f", "%g", "%e", "%%", "x", "%+d"});
}

std::string page_pieces::stray() {
  return one_of({"[",  "]",   ";",    "`",   "^",   "^^",  "^;",      "^`",        "^[",    "^]", "$1", "$2",
                 "$$", "$12", "$who", "[x]", "`;`", "`]`", "^nosuch", "^ if[1;x]", "[a;b]", "^",  "``", "\r"});
}

std::string page_pieces::literal() {
  if (random_.one_in(stray_in_)) return stray();
  return word();
}

std::string page_pieces::operand() {
  switch (random_.below(9)) {
    case 0:
      return variable();
    case 1:
      return one_of({"0x1F", "017", "09", "1e3", "0.5", ".5", "1.", "1e", "99999999999", "-4", "+2", "4294967296"});
    case 2:
      return one_of({"price", "t::price", "u::name", "::name", "t::0", "missing::x", "x::", "3x"});
    case 3:
      return one_of({"round", "floor", "ceiling", "abs", "sqrt", "sign", "!", "~"}) + operand();
    case 4:
      return "(" + expression(1) + ")";
    default:
      return random_.one_in(2) ? variable() : number(100);
  }
}

std::string page_pieces::infix() {
  return one_of({"+", "-", "*", "/", "%", "<<", ">>", "<", ">", "<=", ">=", "==", "!=", "&", "|", "^^", "&&", "||"});
}

std::string page_pieces::expression(std::size_t level) {
  std::string made = operand();
  for (std::size_t n = random_.below(level + 2); n > 0; --n) {
    if (random_.one_in(6)) made += one_of({" ", "\n", "\t"});
    made += infix() + operand();
  }
  if (random_.one_in(25)) made += one_of({"=", ")", "(", "+", "#", "''", "$", "1 2", "^", "_", ":"});
  return made;
}

std::string page_pieces::edge_number() {
  switch (random_.below(6)) {
    case 0:
      return one_of({"2147483647", "2147483648", "2147483646", "2147483649", "4294967295", "4294967296", "46341"});
    case 1:
      return one_of({"9007199254740991", "9007199254740992", "9007199254740993", "4503599627370496",
                     "9223372036854775807", "9223372036854775808", "18446744073709551616", "94906267"});
    case 2:
      return one_of({"0", "00", "0.0", "1e300", "1e-300", "1e400", "0.1", ".5", "5.", "2.5", "1e3", "1e", "0x1F", "0x",
                     "017", "09", "000000000000001"});
    case 3:
      return one_of({"999999999999999", "1000000000000000", "123456789012345", "1234567890123456", "100000000000000"});
    default:
      return number(12);
  }
}

std::string page_pieces::edge_value() {
  switch (random_.below(4)) {
    case 0:
      return one_of({"abc", "5abc", " 5",  "5 ",   "\t5", "5\n", "+5",  "- 5", "--5",   "-",
                     "+",   ".",    "1,5", "inf",  "nan", "-x",  "<5",  "5>4", "\"q\"", "O'N",
                     "^^",  "7^;",  "\a",  "\xD1", "n",   "a",   "0x7", "7e1", "7.",    "3x"});
    case 1:
      return "-" + edge_number();
    default:
      return edge_number();
  }
}

std::string page_pieces::any_format() {
  if (random_.one_in(2)) return one_of({"%d", "%d", "%.0f", "%.17g", ""});
  if (random_.one_in(2)) return format();
  return one_of({"%d ",  " %d",  "%i",   "%u",   "%X", "%o", "%c",  "%-6d|",   "%05d", "% d",   "%ld", "%hd",
                 "%hhd", "%lld", "%d%d", "%.3d", "%a", "%",  "%%d", "%1.0f%%", "%.*d", "%3.1e", "d"});
}

std::string page_pieces::edge_operand(std::size_t level) {
  switch (random_.below(12)) {
    case 0:
      return edge_number();
    case 1:
      return one_of({"(-", "(", "(+"}) + edge_number() + ")";
    case 2:
    case 3:
      return level == 0 ? variable() : "(" + edge_expression(level - 1) + ")";
    case 4:
      return one_of({"round", "floor", "ceiling", "abs", "sqrt", "sign", "!", "~", "!!"}) +
             (random_.one_in(2) ? variable() : "(" + edge_expression(0) + ")");
    case 5:
      return one_of({"price", "t::price", "u::price", "::price", "name", "t::0", "missing::x", "nix", "i"});
    case 6:
    case 7:
      return number(10);
    default:
      return variable();
  }
}

std::string page_pieces::integer_expression(std::size_t level) {
  const auto side = [&] {
    if (level > 0 && random_.one_in(3)) return one_of({"", "", "!"}) + "(" + integer_expression(level - 1) + ")";
    if (random_.one_in(4)) return number(6);
    if (random_.one_in(6)) return one_of({"2147483647", "65536", "46341", "94906267", "1000000007", "3", "0"});
    return variable();
  };
  std::string made = side();
  for (std::size_t n = 1 + random_.below(3); n > 0; --n) {
    made +=
        random_.one_in(4) ? one_of({"<", ">", "<=", ">=", "==", "!=", "&&", "||"}) : one_of({"+", "-", "*", "*", "%"});
    made += side();
  }
  return made;
}

std::string page_pieces::edge_expression(std::size_t level) {
  if (random_.one_in(3)) return integer_expression(level);
  std::string made = (random_.one_in(8) ? "-" : "") + edge_operand(level);
  for (std::size_t n = random_.below(3) + level; n > 0; --n) {
    made += (random_.one_in(2) ? one_of({"+", "-", "*", "%", "-"}) : infix()) + edge_operand(level);
  }
  if (!random_.one_in(40)) return made;
  // Deeper than a few steps.
  for (std::size_t n = 12 + random_.below(8); n > 0; --n) made = variable() + one_of({"-", "+"}) + "(" + made + ")";
  return made;
}

}  // namespace quillet_tests
