#include "page_texts.h"

namespace quillet_tests {

std::string page_texts::text(std::size_t level) {
  std::string made;
  for (std::size_t n = random_.below(4) + (level > 1 ? 1 : 0); n > 0; --n) {
    made += random_.one_in(2) ? literal() : call(level);
  }
  if (random_.one_in(stray_in_)) made = "`" + made + "`";
  return made;
}

std::string page_texts::short_text() {
  if (random_.one_in(3)) return "^truncate[^var[" + variable() + "];" + number(12) + "]";
  if (random_.one_in(4)) return "^eval[" + expression(0) + ";" + format() + "]";
  return word();
}

std::string page_texts::list(std::size_t count, std::size_t level) {
  std::string made;
  for (std::size_t i = 0; i < count; ++i) made += (i == 0 ? "" : ";") + text(level);
  return made;
}

std::string page_texts::call(std::size_t level) {
  if (level == 0) return leaf();
  switch (random_.below(16)) {
    case 0:
    case 1:
      return choice(level - 1);
    case 2:
      return loop(level - 1);
    case 3:
      return change(level - 1);
    case 4:
    case 5:
      return macro_call(level - 1);
    case 6:
      return switch_call(level - 1);
    case 7:
      return table_body(level - 1);
    case 8:
      return wrapped(level - 1);
    case 9:
      return mistake(level - 1);
    default:
      return leaf();
  }
}

std::string page_texts::leaf() {
  switch (random_.below(20)) {
    case 0:
    case 1:
    case 2:
    case 3:
      return "^var[" + variable() + "]";
    case 4:
    case 5:
      return "^eval[" + expression(1) + one_of({"", "", ";" + format()}) + "]";
    case 6:
    case 7:
      return "^item[" + one_of({"", "", "t;", "u;", "prev;", "next;"}) + column() + "]";
    case 8:
      return "^macro[" + macro_name() + one_of({"", ";a", ";x;y", ";;2", ";xy;", ";;xy", ";xy"}) + "]";
    case 9:
      return "^sum[" + number(9) + ";" + short_text() + "]";
    case 10:
      return "^color[odd;even]";
    case 11:
      return option_call();
    case 12:
      return text_call();
    case 13:
      return world_call();
    case 14:
      return "^macro_exists[" + macro_name() + "]";
    default:
      return change(0);
  }
}

std::string page_texts::option_call() {
  return one_of({"^optionset[a|b;a]", "^optionor[a|b;b|c]", "^optionand[a|b|c;c|a]", "^optioncount[a||b]"}) +
         "^optionclear[a|b|c;" + one_of({"a", "b", "c", "d"}) + "]";
}

std::string page_texts::text_call() {
  switch (random_.below(9)) {
    case 0:
      return "^toupper[" + short_text() + "]";
    case 1:
      return "^tolower[ABC" + short_text() + "]";
    case 2:
      return "^truncate[" + short_text() + ";" + number(5) + "]";
    case 3:
      return "^lsplit[" + short_text() + "," + short_text() + ";,]";
    case 4:
      return "^rsplit[a,b,^var[s];,]";
    case 5:
      return "^mangle[" + short_text() + "]";
    case 6:
      return "^unescape_br[a\n" + short_text() + "]";
    case 7:
      return "^match[" + one_of({"[0-9]+", "a(b?)", "x", "(", "^var[n]"}) + ";" + short_text() + "a12b" +
             one_of({"", ";g", ";;<^item[0]>", ";g;(^item[0])^var[n;+;1]"}) + "]";
    default:
      return "^uuencode[" + short_text() + ";f]";
  }
}

std::string page_texts::world_call() {
  switch (random_.below(16)) {
    case 0:
      return "^include[" + one_of({"inc.html", "asis;inc.html", "none.html"}) + "]";
    case 1:
      return "^load[" + one_of({"rows", "named;rows", "none", "empty"}) + "]";
    case 2:
      return "^save[out" + number(2) + one_of({"", ";" + short_text()}) + "]";
    case 3:
      return "^counter[hits]";
    case 4:
      return "^form[" + one_of({"q", "n", "none"}) + "]";
    case 5:
      return "^number[" + one_of({"q", "n", "none"}) + "]";
    case 6:
      return "^uri[]^query[]^combine[q;,]";
    case 7:
      return "^header[X-" + number(3) + ";" + short_text() + "]";
    case 8:
      return "^cookie[c" + one_of({"", ";" + short_text() + ";0"}) + "]";
    case 9:
      return "^stat[fsize;inc.html]^-f[inc.html]^name[/a/b/c.html;" + number(3) + "]";
    case 10:
      return "^find[inc.html;none]";
    case 11:
      return "^index[.;.*html]";
    case 12:
      return "^unlink[_out" + number(2) + "]";
    case 13:
      return "^calendar[rus;2026;" + number(13) + "]";
    case 14:
      return "^date[%Y-%m;" + number(100000) + "]^imgsize[inc.html]^optimize[no]^env[NOTHING]";
    default:
      return "^macro_use[" + one_of({"m.cfg", "none.cfg", "quillet.cfg"}) + "]";
  }
}

std::string page_texts::choice(std::size_t level) {
  switch (random_.below(9)) {
    case 0:
      return "^eq[" + text(level) + ";" + text(0) + ";" + text(level) + one_of({"", ";" + text(level)}) + "]";
    case 1:
      return "^eq[^var[" + variable() + "];" + word() + ";" + text(level) + ";" + text(level) + "]";
    case 2:
      return "^ifdef[" + text(level) + ";" + text(level) + ";" + text(level) + "]";
    case 3:
      return "^default[" + text(level) + ";" + text(level) + "]";
    case 4:
      return "^cmp[" + text(0) + ";" + text(0) + ";" + text(level) + ";" + text(level) + ";" + text(level) + "]";
    case 5:
      return "^start[" + one_of({"/", "/dir", "", "x"}) + ";" + text(level) + ";" + text(level) + "]";
    default:
      return "^if[" + condition(level) + ";" + list(1 + random_.below(3), level) + "]";
  }
}

std::string page_texts::switch_call(std::size_t level) {
  std::string made = "^switch[" + one_of({"^var[n]", "^var[a]", "b", "7", "^eval[i%3]"}) + ";";
  for (std::size_t n = random_.below(6); n > 0; --n) {
    made += "^case[";
    for (std::size_t labels = 1 + random_.below(2); labels > 0; --labels) {
      made += (random_.one_in(8) ? call(0) : one_of({"a", "b", "7", "0", "1", "2", "DEFAULT", "", "^;"})) + ";";
    }
    made += text(level) + "]";
    if (random_.one_in(6)) made += literal();
  }
  if (random_.one_in(6)) made += text(level);
  return made + "]";
}

std::string page_texts::macro_call(std::size_t level) {
  std::string made = "^macro[" + (random_.one_in(10) ? "m^var[n]" : macro_name());
  for (std::size_t n = random_.below(4); n > 0; --n)
    made += ";" + (random_.one_in(stray_in_ / 2) ? stray() : text(level));
  return made + "]";
}

std::string page_texts::macro_body(std::size_t level) {
  std::string made = text(level);
  for (std::size_t n = random_.below(4); n > 0; --n) {
    made += one_of({"$1", "$2", "$1$2", "$who", "$what", "$$", "^var[$1]", "^if[$1;$2;no]", "^eq[$1;$2;same;not]",
                    "^$1[x]", "^var[n;$1]", "`$1`", "^$1", "$1]", "^[$2", "^eval[$1+1]", "^for[j;1;3;$1;,]",
                    "^if[h>0;^var[h;-;1]^macro[two;$2;$1]]", "^if[h>0;^var[h;-;1]<^macro[down]>]"});
  }
  return made + text(level);
}

std::string page_texts::loop(std::size_t level) {
  switch (random_.below(8)) {
    case 0:
      return "^while[" + one_of({"h>0", "^var[h]>0", " h > 3"}) + ";^var[h;-;" + one_of({"1", "2", "20"}) + "]" +
             text(level) + "]";
    case 1:
      return "^menu[" + text(level) + one_of({"", ";,", ";" + text(0)}) + "]";
    case 2:
      return "^table[" + number(4) + ";<td>" + text(level) + "</td>" + one_of({"", ";-"}) + "]";
    case 3:
      return "^sort[" + one_of({"^item[0]", "^item[price]", "^item[1]|^item[0]", text(level)}) + ";" +
             one_of({"D", "A", "N", "-N|A", "+A", "", "-D|D"}) + "]";
    default:
      return "^for[" + one_of({"i", "j", "n", "i^var[a]"}) + ";" + one_of({"1", "0", "-2", "n%9"}) + ";" +
             one_of({"3", "5", "2+2", "(6)"}) + ";" + text(level + 1) + one_of({"", ";,", ";" + text(0)}) + "]";
  }
}

std::string page_texts::table_body(std::size_t level) {
  switch (random_.below(5)) {
    case 0:
      return "^context[" + table_name() + "]";
    case 1:
      return "^context[" + table_name() + ";" + text(level) + loop(level) + "]";
    case 2:
      return "^empty[" + text(level) + ";" + text(level) + "]";
    case 3:
      return "^locate[" + column() + ";" + text(0) + "]^item[" + column() + "]";
    default:
      return "^shift[" + one_of({"1", "-1", "2", "-7"}) + "]^item[" + column() + "]";
  }
}

std::string page_texts::rows() {
  std::string made;
  for (std::size_t n = random_.below(6); n > 0; --n) {
    made += one_of({"x", "", "a", "<b>", "3", "12"}) + "\t" + number(20) + "\t" + short_text() + "\n";
  }
  return made;
}

std::string page_texts::change(std::size_t level) {
  switch (random_.below(18)) {
    case 0:
    case 1:
      return "^var[" + variable() + ";" + short_text() + "]";
    case 2:
    case 3:
      return "^var[" + variable() + ";" + format() + ";" + expression(1) + "]";
    case 4:
      return "^var[" + variable() + ";" + one_of({"+", "-", "*", "/"}) + ";" + short_text() + "]";
    case 5:
      return "^var[" + variable() + ";]";
    case 6:
      return "^if[g>0;^var[g;-;1]^var[" + variable() + ";.;" + short_text() + "]]";
    case 7:
      return "^config[named;name\tprice\tx\n" + rows() + "]";
    case 8:
      return "^config[" + rows() + "]";
    case 9: {
      const std::string action = one_of({"append", "insert;1", "insert", "join;u", "join;t"});
      const std::string cost = action.starts_with("join") ? "4" : "1";  // a table may be joined to itself
      return "^if[g>0;^var[g;-;" + cost + "]^config[" + action + ";" + rows() + "]]";
    }
    case 10:
      return "^config[remove" + one_of({"", ";0", ";0;2", ";;1"}) + "]";
    case 11:
      return "^context[" + table_name() + "]";
    case 12:
      return "^macro_new[" + macro_name() + one_of({"", "[who;what]", "[1]"}) + ";" + macro_body(level) + "]";
    case 13:
      return "^macro_new[" + macro_name() + ";]";
    case 14:
      return "^flip[" + one_of({"t", "u", "missing"}) + "]^context[t;^config[" + rows() + "]]";
    case 15:
      return "^context[" + table_name() + ";^config[named;name\tprice\n" + rows() + "]]";
    case 16:
      return "^var[^var[a];" + short_text() + "]";
    default:
      return "^var[" + variable() + ";" + text(0) + "]^var[" + variable() + ";]";
  }
}

std::string page_texts::wrapped(std::size_t level) {
  switch (random_.below(7)) {
    case 0:
      return "^level[" + one_of({"none", "html", "sql", "javascript", "config", "x"}) + ";" + text(level) + "]";
    case 1:
      return "^process[" + text(level) + "^^var[n]]";
    case 2:
      return "^rem[" + text(level) + "]";
    case 3:
      return "^cache[k" + number(2) + ";" + text(level) + "]";
    case 4:
      return "^var[^var[b];" + format() + ";^var[" + variable() + "]" + infix() + expression(0) + "]";
    case 5:
      return "^find[none;" + text(level) + "]";
    default:
      return "^toupper[" + text(level) + "]";
  }
}

std::string page_texts::mistake(std::size_t level) {
  switch (random_.below(9)) {
    case 0:
      return "^unknown[" + text(level) + "]";
    case 1:
      return "^[x]";
    case 2:
      return "^sum[" + text(level) + "]";
    case 3:
      return "^eq[a]";
    case 4:
      return "^eq[;;;;;;;;;;;;;;;;;;;" + text(level) + "]";
    case 5:
      return "^if[" + text(level) + "[;" + text(level) + "]";
    case 6:
      return "^var[" + text(level);
    case 7:
      return "^for[i;1;" + expression(0) + "*0;x^" + text(level) + "]";
    default:
      return text(level) + stray() + text(level);
  }
}

std::string page_texts::condition(std::size_t level) {
  switch (random_.below(6)) {
    case 0:
      return one_of({"", "", "1", "2 ", "a", "(", "-", "!", "0"}) + "^var[" + variable() + "]" + infix() +
             expression(0);
    case 1:
      return expression(0) + one_of({"", " "}) + infix() + one_of({"", " "}) + "^var[" + variable() + "]";
    case 2:
      return "^var[" + variable() + "]" + one_of({"", "1", " 2", "0", "a", ")", "."}) + infix() + call(level);
    case 3:
      return level == 0 ? number(2) : call(level - 1);
    default:
      return expression(level);
  }
}

}  // namespace quillet_tests
