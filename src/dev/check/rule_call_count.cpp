// call-count and call-ignored: wrong numbers of parameters.
#include <algorithm>
#include <optional>
#include <string>

#include "core/operators.h"
#include "dev/check/rules.h"
#include "dev/page/literal.h"
#include "dev/page/operator_counts.h"

namespace quillet::dev {

file_rule check_call_counts;

namespace {

class count_check {
 public:
  count_check(const document &file, finding_list &found) : file_(file), found_(found) {}

  void check(const call &each) {
    const std::string_view name = file_.text(each.name);
    if (find_operator(name) == nullptr || is_explained(each)) return;
    const std::size_t count = each.parameters.size();
    const parameter_counts counts = counts_of(name);
    if (name == "header" && count > counts.most) return ignored(each, counts.most, "ends the value of the header");
    if (name == "switch" && count > counts.most) {
      return wrong(each, "switch takes a value and a body; write no ; between the cases");
    }
    if (name == "config") return check_config(each);
    if (count < counts.least) return wrong(each, takes(name, counts, count));
    if (count <= counts.most) return;
    if (counts.is_refused) return wrong(each, takes(name, counts, count));
    check_excess(each, counts.most, counts.reads_last);
  }

  void check_failed(const failed_call &failed) {
    const std::string name(file_.text(failed.name));
    if (failed.reason != call_failure::too_many_parameters || find_operator(name) == nullptr) return;
    found_.add("call-count", file_, {failed.name.begin - 1, failed.name.end + 1},
               "a call has at most 19 parameters; this one has more and stays in the page as it is");
  }

 private:
  // Another rule has found what makes the count wrong.
  [[nodiscard]] bool is_explained(const call &each) const {
    return found_.has_within("call-unclosed", file_, {each.caret(), each.bracket()}) ||
           found_.has_within("call-backtick", file_, each.range);
  }

  static std::string takes(std::string_view name, const parameter_counts &counts, std::size_t count) {
    std::string wanted = std::to_string(counts.least);
    if (counts.most == max_parameters) {
      wanted = "at least " + wanted;
    } else if (counts.most == counts.least + 1) {
      wanted += " or " + std::to_string(counts.most);
    } else if (counts.most != counts.least) {
      wanted += " to " + std::to_string(counts.most);
    }
    const bool one = counts.least == 1 && counts.most == 1;
    return std::string(name) + " takes " + wanted + (one ? " parameter" : " parameters") + ", this call has " +
           std::to_string(count);
  }

  // Where the forms differ by their first word.
  void check_config(const call &each) {
    const std::size_t count = each.parameters.size();
    const auto word = literal_parameter(file_, each, 0);
    if (!word || count == 1) return;
    if (*word == "named" || *word == "append") return check_excess(each, 2, true);
    if (*word == "insert" || *word == "remove" || *word == "join") return check_excess(each, 3, *word == "insert");
    // Rows, not a word: a ";" in them makes the first part a word that nobody knows.
    if (word->find_first_of("\t\n") != std::string::npos) ignored(each, 1, "splits the rows of config");
  }

  void check_excess(const call &each, std::size_t most, bool reads_last) {
    const auto is_blank = [&](const template_text &parameter) {
      const std::string_view text = file_.text(parameter.range);
      return std::all_of(text.begin(), text.end(), is_white_space);
    };
    const auto excess = each.parameters.begin() + static_cast<std::ptrdiff_t>(std::min(most, each.parameters.size()));
    if (std::all_of(excess, each.parameters.end(), is_blank)) return;
    const std::string name(file_.text(each.name));
    ignored(each, most, reads_last ? "makes " + name + " ignore what is before it" : "ends what " + name + " reads");
  }

  // The ";" before the parameter with that index.
  void ignored(const call &each, std::size_t index, const std::string &effect) {
    const std::size_t start = each.parameters[index].range.begin;
    const std::size_t separator = file_.text()[start - 1] == ';' ? start - 1 : start - 2;  // a backtick is between
    const std::size_t at = file_.source_offset(separator);
    found_.add("call-ignored", file_, {separator, separator + 1},
               "this ; " + effect + "; a ; in the text is written ^;", {{"Write ^;", {{{at, at}, "^"}}}});
  }

  void wrong(const call &each, std::string message) {
    found_.add("call-count", file_, {each.caret(), each.name.end}, std::move(message));
  }

  const document &file_;
  finding_list &found_;
};

}  // namespace

void check_call_counts(const document &file, const checked_site & /*in*/, finding_list &found) {
  count_check check(file, found);
  for (const template_text *body : file.templates()) {
    for_each_text(file.text(), *body, [&](const template_text &part, auto) {
      for (const call &each : part.calls) check.check(each);
      for (const failed_call &each : part.failures) check.check_failed(each);
    });
  }
}

}  // namespace quillet::dev
