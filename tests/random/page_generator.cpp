#include "page_generator.h"

namespace quillet_tests {

namespace {

using names = std::initializer_list<std::string_view>;

// Pages end: loops are short, what recurses or grows spends one of the variables `g` and `h`, which nothing
// else sets, and a variable is put into another one only in part.
class page_generator {
 public:
  explicit page_generator(std::uint64_t seed) : random_(seed) {}

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
    std::string made = "^var[g;" + number(30) + "]^var[h;" + number(300) + "]";
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

  // --- small pieces ---

  std::size_t one_of_numbers(std::initializer_list<std::size_t> list) {
    return list.begin()[random_.below(list.size())];
  }

  std::string one_of(names list) { return std::string(list.begin()[random_.below(list.size())]); }
  std::string number(std::size_t limit) { return std::to_string(random_.below(limit)); }
  std::string word() {
    return one_of({"a",   "b",   "x", "yes", "7",  "12",    "0",       "-3", "1.5", "<i>", "\"q\"", "O'N",  "a|b|c",
                   "c|a", "red", " ", "\n",  "\t", "12abc", "DEFAULT", "$",  "%d",  "&",   "e5",    "0x1F", "017"});
  }
  std::string variable() { return one_of({"i", "j", "n", "a", "b", "s", "word", "nothing", "sum"}); }
  std::string macro_name() { return one_of({"m", "m1", "two", "list", "none", "down"}); }
  std::string table_name() { return one_of({"t", "u", "v", "t", "missing"}); }
  std::string column() { return one_of({"0", "1", "2", "name", "price", "current", "count", "number", "9", "nix"}); }
  std::string format() {
    return one_of({"%d", "%d", "%d", "%.2f", "%5d", "%x", "%05.1f", "%s", "Total %f", "%g", "%e", "%%", "x", "%+d"});
  }

  // Bytes that stand for themselves, or break what is around them.
  std::string stray() {
    return one_of({"[",  "]",   ";",    "`",   "^",   "^^",  "^;",      "^`",        "^[",    "^]", "$1", "$2",
                   "$$", "$12", "$who", "[x]", "`;`", "`]`", "^nosuch", "^ if[1;x]", "[a;b]", "^",  "``", "\r"});
  }

  std::string literal() {
    if (random_.one_in(stray_in_)) return stray();
    return word();
  }

  // --- expressions ---

  std::string operand() {
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
  std::string infix() {
    return one_of({"+", "-", "*", "/", "%", "<<", ">>", "<", ">", "<=", ">=", "==", "!=", "&", "|", "^^", "&&", "||"});
  }
  std::string expression(std::size_t level) {
    std::string made = operand();
    for (std::size_t n = random_.below(level + 2); n > 0; --n) {
      if (random_.one_in(6)) made += one_of({" ", "\n", "\t"});
      made += infix() + operand();
    }
    if (random_.one_in(25)) made += one_of({"=", ")", "(", "+", "#", "''", "$", "1 2", "^", "_", ":"});
    return made;
  }
  // An expression that is a template text as well.
  std::string condition(std::size_t level) {
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

  // --- texts ---

  std::string text(std::size_t level) {
    std::string made;
    for (std::size_t n = random_.below(4) + (level > 1 ? 1 : 0); n > 0; --n) {
      made += random_.one_in(2) ? literal() : call(level);
    }
    if (random_.one_in(stray_in_)) made = "`" + made + "`";
    return made;
  }
  // A text that holds no more than a few bytes of a variable.
  std::string short_text() {
    if (random_.one_in(3)) return "^truncate[^var[" + variable() + "];" + number(12) + "]";
    if (random_.one_in(4)) return "^eval[" + expression(0) + ";" + format() + "]";
    return word();
  }
  std::string list(std::size_t count, std::size_t level) {
    std::string made;
    for (std::size_t i = 0; i < count; ++i) made += (i == 0 ? "" : ";") + text(level);
    return made;
  }

  std::string call(std::size_t level) {
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

  // A call without template texts in it.
  std::string leaf() {
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

  std::string option_call() {
    return one_of({"^optionset[a|b;a]", "^optionor[a|b;b|c]", "^optionand[a|b|c;c|a]", "^optioncount[a||b]"}) +
           "^optionclear[a|b|c;" + one_of({"a", "b", "c", "d"}) + "]";
  }
  std::string text_call() {
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
  std::string world_call() {
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

  std::string choice(std::size_t level) {
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

  std::string switch_call(std::size_t level) {
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

  std::string macro_call(std::size_t level) {
    std::string made = "^macro[" + (random_.one_in(10) ? "m^var[n]" : macro_name());
    for (std::size_t n = random_.below(4); n > 0; --n)
      made += ";" + (random_.one_in(stray_in_ / 2) ? stray() : text(level));
    return made + "]";
  }

  std::string macro_body(std::size_t level) {
    std::string made = text(level);
    for (std::size_t n = random_.below(4); n > 0; --n) {
      made += one_of({"$1", "$2", "$1$2", "$who", "$what", "$$", "^var[$1]", "^if[$1;$2;no]", "^eq[$1;$2;same;not]",
                      "^$1[x]", "^var[n;$1]", "`$1`", "^$1", "$1]", "^[$2", "^eval[$1+1]", "^for[j;1;3;$1;,]",
                      "^if[h>0;^var[h;-;1]^macro[two;$2;$1]]", "^if[h>0;^var[h;-;1]<^macro[down]>]"});
    }
    return made + text(level);
  }

  // --- loops and tables ---

  std::string loop(std::size_t level) {
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
        return "^for[" + one_of({"i", "j", "n", "i^var[a]"}) + ";" + one_of({"1", "0", "-2", "n"}) + ";" +
               one_of({"3", "5", "2+2", "(6)"}) + ";" + text(level + 1) + one_of({"", ";,", ";" + text(0)}) + "]";
    }
  }

  std::string table_body(std::size_t level) {
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

  std::string rows() {
    std::string made;
    for (std::size_t n = random_.below(6); n > 0; --n) {
      made += one_of({"x", "", "a", "<b>", "3", "12"}) + "\t" + number(20) + "\t" + short_text() + "\n";
    }
    return made;
  }

  // What changes the state that other texts look at.
  std::string change(std::size_t level) {
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
      case 9:
        return "^if[g>0;^var[g;-;1]^config[" + one_of({"append", "insert;1", "insert", "join;u", "join;t"}) + ";" +
               rows() + "]]";
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

  std::string wrapped(std::size_t level) {
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

  // Unknown names, wrong counts, lists that are no lists.
  std::string mistake(std::size_t level) {
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

  // --- whole pages ---

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

  random_numbers random_;
  std::size_t stray_in_ = 1;  // one literal in so many is a stray
};

}  // namespace

std::string make_page(std::uint64_t seed) { return page_generator(seed).page(); }

}  // namespace quillet_tests
