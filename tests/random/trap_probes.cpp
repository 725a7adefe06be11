#include "trap_probes.h"

#include "../expressions/random_expression.h"

namespace quillet_tests {

// --- expressions ---

// Variables that are integers without a text, and what is at the edge of what integers can compute.
std::string trap_probes::integer_probe() {
  std::string made;
  for (const std::string_view name : {"n", "a"}) {
    made += "^var[" + std::string(name) +
            one_of({";%d;i-3]", ";%d;0]", ";%d;-5]", ";%d;94906267]", ";%d;2147483647]", ";%d;-2147483648]", ";%d;i%3]",
                    ";%d;1-i]", ";+;2]", ";*;-1]", ";-;3]", ";/;2]", ";%d;n]"});
  }
  const auto side = [this] {
    return one_of({"n", "a", "i", "n", "a", "n", "a", "2", "0", "-0", "3", "46341", "65536", "2147483647"});
  };
  const auto meaning = [this] {
    return random_.one_in(2) ? one_of({"*", "*", "-", "%"})
                             : one_of({"+", "-", "/", "<", ">", "<=", ">=", "==", "!=", "&&", "||"});
  };
  const auto pair = [&] { return side() + meaning() + side(); };
  std::string expression;
  switch (random_.below(8)) {
    case 0:
      expression = side() + meaning() + "(" + pair() + ")";
      break;
    case 3:
      expression = one_of({"(n*46341*46341)%7", "(a*65536*65536+i)%1000", "(n*65536*65536)%a", "-0", "-0*n", "(-0)*a",
                           "n*(-0)", "-0-0", "n*n+1", "n*n-i", "a*0", "i%n", "(0-2147483647-1)%(0-1)"});
      if (random_.one_in(4)) {
        for (std::size_t n = 12 + random_.below(12); n > 0; --n) expression = side() + "-(" + expression + ")";
      }
      break;
    case 1:
      expression = "(" + pair() + ")" + meaning() + "(" + pair() + ")";
      break;
    case 2:
      expression = (random_.one_in(3) ? "!(" : "(") + pair() + one_of({"*46341", "*65536*65536", "+2147483647", "*a"}) +
                   ")" + one_of({"%7", "%n", "+1", "-1", "&&1", "*n"});
      break;
    default:
      expression = pair();
  }
  return made + one_of({"^eval[", "^eval[", "^var[b;%.0f;"}) + expression +
         one_of({";%.0f]", ";%g]", ";%.1f]", ";%d]", "]"}) + "<^var[b]>";
}

std::string trap_probes::expression_probe() {
  if (random_.one_in(3)) return integer_probe();
  if (random_.one_in(12)) {
    return "^eval[" +
           one_of({"(n)5",
                   "(a)n",
                   "!n 5",
                   "(nix)7",
                   "3n",
                   "round n(a)",
                   "(n).5",
                   "(n)(a)",
                   "1(2)",
                   "(n)5+(a)2",
                   "()",
                   "-",
                   "",
                   "((((((((((n))))))))))",
                   "!!!!!!!!!!!!n",
                   "(((((n",
                   "n))",
                   "roundn",
                   "round",
                   "nround2",
                   "_n",
                   "n_",
                   "n:a"}) +
           ";" + any_format() + "]";
  }
  const std::string made = edge_expression(random_.below(3));
  const std::string other = variable();
  switch (random_.below(12)) {
    case 0:
      return "^if[" + made + ";yes;no]";
    case 1:
      return "^if[" + made + ";-;0;+]";
    case 2:
      return "^var[" + other + ";%d;" + made + "]<^var[" + other + "]>";
    case 3:
      return "^var[" + other + ";" + any_format() + ";" + made + "]<^var[" + other + "]>";
    case 4:
      return "^var[" + other + ";" + one_of({"+", "-", "*", "/"}) + ";" + edge_value() + "]<^var[" + other + "]>";
    case 5:
      return "^for[k;(" + made + ")%3;2;^var[k]" + one_of({"", "^eval[k-n]"}) + "]";
    case 6:
      return "^var[k;3]^while[k>0&&(" + made + ")>=0;^var[k;%d;k-1]^var[k]]";
    case 7:
      return "^eval[" + made + one_of({"", "", " ", "=", "'", ")", "(", "+", "#", "&", " 2", ",5"}) + "]";
    case 8:
      return "<^var[" + other + "]>^sum[^var[" + other + "];" + edge_value() + "]";
    default:
      return "^eval[" + made + ";" + any_format() + "]";
  }
}

// --- holes ---

std::string trap_probes::hole() {
  switch (random_.below(12)) {
    case 0:
      return "^eval[" + edge_expression(0) + one_of({"]", ";%.0f]"});
    case 1:
      return "^item[" + one_of({"price", "1", "count", "number", "n"}) + "]";
    case 2:
      return "^macro[" + macro_name() + one_of({"", ";1", ";^var[n]", ";1;2"}) + "]";
    case 3:
      return "^sum[" + edge_number() + ";" + number(9) + "]";
    case 4:
      return one_of({"^var[ n]", "^var[n ]", "^var[^var[s]]", "^var[]", "^unknown[]", "^rem[x]", "^var[n;3]",
                     "^if[n>2;5;6]", "^var[n;;5]", "^ifdef[^var[n];4]", "^default[^var[n];0]", "^eq[^var[n];5;1;2]"});
    default:
      return "^var[" + variable() + "]";
  }
}

std::string trap_probes::holed_condition() {
  std::string made =
      one_of({"",  "",   "",  "1",  "-", "+", "!", "~",   "(",  "0x", "1e", ".",   "a",  "round", "abs", "2-", "3*(",
              " ", "\t", "0", "1.", "n", "_", ":", "t::", "--", "5)", "1 ", "1e-", "2<", "8%",    "n/",  "'"});
  made += hole();
  made += one_of({"",    "",  "",        ")", "1", ".", ".5", "e2", "x1F", "a",  " ",   " 1", ">5", "+1",
                  "==3", "(", "::price", "#", "%", "=", "-",  "*0", "<<1", "&1", "^^3", "|",  "_",  "\n"});
  for (std::size_t n = random_.below(random_.one_in(6) ? 6 : 3); n > 0; --n) {
    made += infix() + (random_.one_in(2) ? hole() : edge_expression(0));
  }
  return made;
}

// Values whose bytes matter: quoting, readings as a number, signs.
std::string trap_probes::value_probe() {
  const std::string value = one_of({"<5", "\"q\"", "O'N", "\a", "a\tb", "1e3", "2.7", "0x1F", "-5", " 7", "1e", "\\"});
  std::string made = "^var[n;" + value + "]";
  if (random_.one_in(3)) made = "^var[n;%d;" + one_of({"-5", "i-3", "0", "7"}) + "]";
  return made +
         one_of({"^var[b;^var[n]]", "^eval[n]^var[n;+;1]", "^eval[n+0]^var[n;*;2]", "^var[b;%d items;n+1]",
                 "^var[b;%d;^var[n]]", "^var[b;%dx;n]", "^eval[3-^var[n]]", "^if[^var[n]>-9;y;n]", "^if[^var[n]<3;y;n]",
                 "^var[b;x]^var[b;.;^var[n]]", "^eval[^var[n]*2;%.0f]", "^eval[n]^var[n;.;5]"}) +
         "<^var[b]|^var[n]|^eval[n]>";
}

std::string trap_probes::hole_probe() {
  if (random_.one_in(5)) return value_probe();
  const std::string made = random_.one_in(2) ? hole() + infix() + edge_expression(random_.below(2)) : holed_condition();
  switch (random_.below(6)) {
    case 0:
      return "^eval[" + made + ";" + any_format() + "]";
    case 1:
      return "^var[b;" + any_format() + ";" + made + "]<^var[b]>";
    case 2:
      return "^if[" + made + ";-;0;+]";
    case 3:
      return "^var[h;-;1]^if[h>0&&" + made + ";yes]";
    case 4:
      return "^var[k;2]^while[k>0&&(" + made + ");^var[k;%d;k-1]^var[k]]";
    default:
      return "^if[" + made + ";yes;no]";
  }
}

// --- macros ---

std::string trap_probes::argument() {
  switch (random_.below(8)) {
    case 0:
      return one_of({"`", "``", "`a;4`", "`;`", "`[`", "`]`", "`a", "a`", "`a`b", "`^`"});
    case 1:
      return one_of({"a^;b", "^;", "^^", "^", "a^", "^[", "[x]", "^[x]", "[[]]", "^^[]", "^ ", "^`", "x^^"});
    case 2:
      return one_of({"$1", "$2", "$", "$$", "$12", "$who", "2", "1", "0", "12"});
    case 3:
      return one_of({"n", "a", "m", "two", "if", "var", "var[n", "eq", "DEFAULT", "price", "t", "%d", "+", "."});
    case 4:
    case 5:
      return hole();
    default:
      return one_of({"", "", "a", "b", "ab", "xy", "x", " ", "\n", "\t", "\a", "5"});
  }
}

// Lists of arguments with the same bytes in other places.
std::string trap_probes::arguments_alike() {
  const std::string bytes =
      one_of({"ab", "aab", "121", "xyx", "aaa", "12", "$1", "nn", "a;b", "^var[n]^var[n]", "`ab`"});
  std::string made;
  const std::string name = macro_name();
  for (std::size_t n = 2 + random_.below(2); n > 0; --n) {
    const std::size_t first = random_.below(bytes.size() + 1);
    const std::size_t second = first + random_.below(bytes.size() - first + 1);
    const std::string middle = bytes.substr(first, second - first);
    made += "^macro[" + name + ";" + bytes.substr(0, first) + ";" + middle;
    if (second < bytes.size() || random_.one_in(2)) made += ";" + bytes.substr(second);
    made += "]";
  }
  return made;
}

std::string trap_probes::body_with_arguments() {
  std::string made;
  for (std::size_t n = 1 + random_.below(4); n > 0; --n) {
    switch (random_.below(8)) {
      case 0:
        made += one_of({"^$1[x]", "^$1[n]", "^$1]", "^v$1[n]", "^$2[$1]", "^$1$2[3]", "^var$1", "^if[1;$1;$2]"});
        break;
      case 1:
        made += one_of({"^$1",     "$1^", "^^$1", "^;$1", "`$1`", "`$1;$2`", "`$1", "$1`",   "[$1]",  "$1]",   "^[$2",
                        "[$1;$2]", "$$1", "$",    "$$",   "$0",   "$12",     "$9",  "$1 $2", "$1;$2", "^^^$1", "\\$1"});
        break;
      case 2:
        made += one_of({"^eq[$1;$2;same;other]", "^eq[`$1`;$2;same;other]", "^eq[$1$2;ab;`;`;x]", "^ifdef[$1;d;u]",
                        "^switch[$1;^case[$2;hit]^case[DEFAULT;no]]", "^switch[a;^case[$1;one]^case[$2;two]]",
                        "^default[$1;empty]", "^if[$1>$2;gt;le]", "^if[$1;$2;no]", "^if[$1$2;y;n]", "^eval[$1-$2]",
                        "^eval[$1;$2]", "^ifdef[``$1;d;u]", "^cmp[$1;$2;l;e;g]"});
        break;
      case 3:
        made += one_of({"^var[$1]", "^var[$1;$2]", "^var[n;$1]", "^var[n;$1;$2]", "^var[n;%d;$1]", "^item[$1]",
                        "^level[$1;$2]", "^sort[^item[$1];$2]", "^context[$1;^item[1]]", "^toupper[$1]", "^process[$1]",
                        "^sum[$1;$2]"});
        break;
      case 4:
        made += one_of({"^for[j;1;2;$1;$2]", "^for[j;1;3;<$1^eval[j-$2]>]", "^menu[$1^item[0];$2]",
                        "^var[k;2]^while[k>0;^var[k;-;1]$1]", "^for[$1;1;3;$2^var[j]]", "^match[a;g;$1;bab$2]",
                        "^for[j;1;2;$2$1]", "^macro_new[down;$1-$2]^macro[down;x;y]"});
        break;
      case 5:
        made += one_of({"^if[h>0;^var[h;-;1]^macro[two;$2;$1]]", "^if[h>0;^var[h;-;1]^macro[m;$1x;$2]]",
                        "^if[h>0;^var[h;-;1]^macro[m;$1;$2]]", "^if[h>0;^var[h;-;9]^macro[$1;$2;$2]]"});
        break;
      case 6:
        made += random_.one_in(3) ? disturb(trap_subject::macros) : probe(trap_subject::holes);
        break;
      default:
        made += one_of({"<$1>", "($2)", "$1$2", "$who", "$what-$who", "$1,$2,$3"});
    }
  }
  return made;
}

std::string trap_probes::macro_probe() {
  if (random_.one_in(3)) return arguments_alike();
  if (random_.one_in(12)) return "^macro_exists[" + macro_name() + "]";
  if (random_.one_in(20))
    return "^for[each;1;60;^macro[m;^var[each];" + std::string(5000, 'x') + "]^macro[two;" + argument() + "]]";
  std::string made =
      "^macro[" + (random_.one_in(8) ? one_of({"^var[s]", "m^rem[]", "^if[n>3;m;two]", " m", ""}) : macro_name());
  for (std::size_t n = random_.below(4); n > 0; --n) made += ";" + argument();
  return made + "]";
}

std::string trap_probes::change_macro() {
  switch (random_.below(8)) {
    case 0:
      return "^macro_new[" + macro_name() + ";]";
    case 1:
      return "^macro_use[" + one_of({"m.cfg", "quillet.cfg", "none.cfg"}) + "]";
    case 2:
      return "^var[s;" + one_of({"m", "two", "list", "n"}) + "]";
    case 3:
      return "^macro_new[" + macro_name() + ";" +
             one_of({"plain", "^var[n]", "^unknown[]", "^macro[two]", "^", "a$$b", "$"}) + "]";
    default:
      return "^macro_new[" + macro_name() + one_of({"", "[who;what]", "[what;who]", "[w;who]", "[a]", "[1]", "[who]"}) +
             ";" +
             one_of({"<$1|$2>", "$2$1", "^var[n]", "new", "$who!$what", "^eval[$1+$2]", "^var[n;$1]", "^$1[$2]"}) + "]";
  }
}

// --- tables ---

std::string trap_probes::named_rows(std::size_t count) {
  std::string made =
      one_of({"name\tprice", "name\tprice\tn", "n\tprice\tname", "price\tname\ti\ta", "price", "x\tx\tname"});
  if (random_.one_in(5)) {
    for (std::size_t n = 12 + random_.below(8); n > 0; --n) made += "\tc" + number(14);
    made += one_of({"", "\tprice", "\t", "\tname\tn\t3"});
  }
  made += "\n";
  for (; count > 0; --count) {
    made += one_of({"x", "", "a", "<b>", "3", "12", "\"", "\a", "O'N", "\\", "\xFF"}) + "\t" +
            (random_.one_in(3) ? edge_value() : number(20));
    if (random_.one_in(12)) {
      for (std::size_t n = random_.below(60); n > 0; --n)
        made += "\t" + one_of({"", "wide cell", "7", "<", "\r", "a|b"});
    }
    made += one_of({"", "\t7", "\t\t", "\tlast", "\t\xD1"}) + "\n";
  }
  return made;
}

std::string trap_probes::sort_probe() {
  const std::string key =
      one_of({"^item[1]", "^item[price]", "^item[1]|^item[0]", "^item[0]|^item[1]", "^var[n]", "", "x",
              "^eval[price+1]", "^var[j;+;1]^item[1]", "^item[current]", "^eval[-price;%.2f]"});
  const std::string change = random_.one_in(5)
                                 ? "^if[" + one_of({"j", "n", "price", "^item[current]"}) + "==" + number(6) + ";" +
                                       (random_.one_in(2) ? change_table() : set_variable()) + "]"
                                 : "";
  return "^sort[" + key + change + ";" +
         one_of({"N", "-N", "D", "A", "-A", "N|A", "-A|N", "D|D", "", "x", "n|-a", "^var[s]"}) +
         "]^menu[^item[0]/^item[1];,]";
}

std::string trap_probes::table_probe() {
  switch (random_.below(9)) {
    case 0:
      return "^eval[" + one_of({"price", "t::price", "u::price", "n", "t::n", "a"}) + "+1;%g]";
    case 1:
      return sort_probe();
    case 2:
      return "^menu[" + one_of({"^item[0]", "^item[name]-^item[price]", "^item[next;1]", "^if[price>5;^item[1]]"}) +
             ";,]";
    case 3:
      return "^table[" + one_of({"2", "3", "1", "0", "-1"}) + ";<td>^item[0]</td>]^item[0]^item[current]";
    case 4:
      return "^locate[" + column() + ";" + one_of({"x", "3", "12", "", "^var[n]", "7"}) + "]^item[current]";
    case 5:
      return "^shift[" + one_of({"1", "-1", "2", "-50", "^var[n]"}) + "]^item[0]";
    case 6:
      return "^context[" + table_name() + ";^item[price]^item[0]^empty[none;^item[count]]]";
    default:
      return row_probe();
  }
}

std::string trap_probes::row_probe() {
  std::string made;
  for (std::size_t n = 1 + random_.below(4); n > 0; --n) {
    const std::string cell = random_.one_in(3)
                                 ? number(one_of_numbers({6, 6, 6, 6, 70, 300}))
                                 : one_of({"name", "price", "n", "c3", "c11", "nix", "", "-1", "x", "current", "count",
                                           "number", "00001", "1x", "4294967296", "^var[s]", "^var[n]"});
    const std::string where = one_of({"", "", "", "t;", "u;", "prev;", "next;", "missing;"});
    made += random_.one_in(8)
                ? "^level[" + one_of({"none", "sql", "config", "javascript"}) + ";^item[" + where + cell + "]]"
                : "^item[" + where + cell + "]";
  }
  return made;
}

std::string trap_probes::change_table() {
  switch (random_.below(12)) {
    case 0:
      return "^if[g>0;^var[g;-;1]^config[append;" + named_rows(random_.below(3)) + "]]";
    case 1:
      return "^if[g>0;^var[g;-;1]^config[insert;" + one_of({"0;", "1;", "^eval[i%4+4];", "60;", ""}) + named_rows(1) +
             "]]";
    case 2:
      return "^config[remove" + one_of({"", ";0", ";0;2", ";;1", ";1;99", ";0;99", ";^var[n]"}) + "]";
    case 3:
      return "^config[" + named_rows(random_.below(5)) + "]";
    case 4:
      return "^context[" + table_name() + "]";
    case 5:
      return "^context[" + table_name() + ";" + one_of({"^config[named;", "^config["}) + named_rows(2) + "]]";
    case 6:
      return "^shift[" + one_of({"1", "-1", "5", "-90"}) + "]";
    case 7:
      return "^table[2;^item[0]]";
    case 8:
      return "^flip[" + table_name() + "]";
    case 9:
      return one_of(
          {"^match[(a)(b);xab]", "^match[(x);none]", "^load[named;rows]", "^load[none]", "^config[formelements]"});
    default:
      return "^config[named;" + named_rows(random_.below(6)) + "]";
  }
}

// --- texts ---

// Calls in each other, long enough for an index of their brackets.
std::string trap_probes::nested_lists() {
  std::string made = std::string(1300 + random_.below(3000), 'x') + probe(trap_subject::choices);
  for (std::size_t levels = 9 + random_.below(8); levels > 0; --levels) {
    const std::string beside = one_of({"",  "",  "",  "`;`", "`]`", "`[`",     "^;", "^^",  "^[", "^]", "[;]",
                                       "]", ";", "`", "[",   "^`",  "^var[n]", "``", "^^[", "^",  "^x"});
    const std::string open =
        one_of({"^eq[a;a;", "^if[1;", "^default[;", "^toupper[", "^ifdef[x;", "^level[none;", "^if[n;",
                "^eq[^var[n];5;", "^default[``;", "^eq[`;`;`;`;", "^nosuch[", "^;;;;;;;;;;;;;;;;;;;"});
    made = random_.one_in(2) ? open + beside + made + "]" : open + made + beside + "]";
    if (random_.one_in(6)) made = "`" + made + "`";
  }
  return made;
}

std::string trap_probes::text_probe() {
  switch (random_.below(9)) {
    case 0:
      return random_.one_in(4) ? nested_lists()
                               : "^eq[" + argument() + ";" + argument() + ";" + argument() + ";" + argument() + "]";
    case 1:
      return "^ifdef[" + argument() + ";" + argument() + ";" + argument() + "]";
    case 2:
      return "^process[" + one_of({"^var[s]", "^^var[n]", "^^eval[n+1]", "^^if[n;a;b]", "^^macro[m;a]"}) + "]";
    case 3:
      return one_of({"^", "^^", "^;", "^`", "^var", "^var[", "^[", "^ [x]", "^nosuch[", "]", "`", "^if", "x^", "^\n"});
    case 4:
      return "^default[" + argument() + ";" + argument() + "]";
    case 5:
      return "^include[inc.html]^level[" + one_of({"sql", "none", "config", "^var[s]"}) + ";<^var[" + variable() +
             "]>]";
    case 6:
      return "^var[" + variable() + ";" + argument() + "]";
    case 7:
      return mistake(1);
    default:
      return call(2);
  }
}

// --- choices ---

std::string trap_probes::choice_probe() {
  const std::string variable_value = random_.one_in(3) ? argument() : "^var[" + variable() + "]";
  const std::string value = random_.one_in(2) ? variable_value : one_of({"5", "2", "a", "0", "7"});
  switch (random_.below(4)) {
    case 0:
      return "^eq[" + value + ";" + one_of({"5", "2", "a", "", "^var[n]", "^var[i]", "-0", "5 "}) + ";same;" +
             (random_.one_in(2) ? "other" : probe(trap_subject::holes)) + "]";
    case 1:
      return switch_call(1);
    default: {
      std::string made = "^switch[" + value + ";";
      for (std::size_t n = 1 + random_.below(4); n > 0; --n) {
        made += one_of({"^case[", "^case[", "^case[", " ^case[", "^Case[", "^var[n]^case[",
                        "^switch[2;^case[2;^case[a;in]]]^case["});
        for (std::size_t labels = 1 + random_.below(3); labels > 0; --labels) {
          made += one_of({"5", "2", "a", "DEFAULT", "", "^var[n]", "40", "0", "7", "`a`", "^;", "abc"}) + ";";
        }
        made += one_of({"", "hit", "<^var[n]>", "^var[n;9]", "^case[a;x]", "^switch[a;^case[a;in]]", "^var[s]",
                        "^case[5;in]^case[DEFAULT;out]"}) +
                one_of({"]", "]", "]", "] ", "]x", "]^rem[;]"});
      }
      return made + "]";
    }
  }
}

// --- matches ---

std::string trap_probes::match_probe() {
  const auto as_text = [](std::string_view bytes) {
    std::string made;
    for (const char c : bytes) {
      if (c == '^' || c == ';') made += '^';
      if (c != '`' && c != '[' && c != ']') made += c;
    }
    return made;
  };
  ::random_numbers random(random_.next());
  const auto kind = random_.one_in(3) ? expression_kind::any : expression_kind::everyday;
  std::string expression = random_expression(random, random_.one_in(2) ? expression_kind::narrow : kind);
  const std::string subject = as_text(random_text(random, expression, 30));
  int open = 0;
  std::string pattern;
  for (const char c : expression) {
    open += static_cast<int>(c == '[') - static_cast<int>(c == ']');
    if (open < 0 || c == '`') return "^match[a(b*)|" + variable() + ";" + subject + "]^item[\\1]";
    if (c == '^' || c == ';') pattern += '^';
    pattern += c;
  }
  if (open != 0) return "^match[[a-c]+;<" + subject + ">^item[match]";
  const std::string show =
      one_of({"^item[\\\\1]", "^item[match]", "^item[0]|^item[1]|^item[2]", "^item[prematch]", "^item[postmatch]"});
  switch (random_.below(4)) {
    case 0:
      return "^match[" + pattern + ";" + subject + "]" + show;
    case 1:
      return "^match[" + pattern + ";" + one_of({"", "i", "n", "in"}) + ";" + subject + "]" + show;
    default:
      return "^match[" + pattern + ";" + one_of({"g", "g", "gi", ""}) + ";<" + show +
             (random_.one_in(8) ? probe(trap_subject::rows) : "") + ">;" + subject + "]";
  }
}

// --- all ---

std::string trap_probes::set_variable() {
  const std::string name = random_.one_in(12) ? "^var[s]" : variable();
  switch (random_.below(8)) {
    case 0:
      return "^var[" + name + ";]";
    case 1:
      return "^var[" + name + ";" + any_format() + ";" + edge_expression(1) + "]";
    case 2:
      return "^var[" + name + ";.;" + edge_value() + "]";
    case 3:
      return "^var[" + name + ";" + one_of({"+", "-", "*", "/"}) + ";" + edge_value() + "]";
    case 4:
      return "^var[" + name + ";]^var[" + name + ";" + edge_value() + "]";
    case 5:
      return "^for[" + variable() + ";1;2;^var[" + name + ";" + edge_value() + "]]";
    default:
      return "^var[" + name + ";" + edge_value() + "]";
  }
}

std::string trap_probes::disturb(trap_subject subject) {
  if (random_.one_in(10)) return random_.one_in(2) ? change(1) : "^unknown[]";
  switch (subject) {
    case trap_subject::macros:
      return random_.one_in(4) ? set_variable() : change_macro();
    case trap_subject::tables:
    case trap_subject::rows:
      return random_.one_in(5) ? set_variable() : change_table();
    case trap_subject::texts:
      return random_.one_in(2) ? change_macro() : set_variable();
    case trap_subject::expressions:
      return random_.one_in(8) ? change_table() : set_variable();
    default:
      return set_variable();
  }
}

std::string trap_probes::probe(trap_subject subject) {
  switch (subject) {
    case trap_subject::expressions:
      return expression_probe();
    case trap_subject::holes:
      return hole_probe();
    case trap_subject::macros:
      return macro_probe();
    case trap_subject::tables:
      return table_probe();
    case trap_subject::rows:
      return row_probe();
    case trap_subject::texts:
      return text_probe();
    case trap_subject::choices:
      return choice_probe();
    default:
      return match_probe();
  }
}

}  // namespace quillet_tests
