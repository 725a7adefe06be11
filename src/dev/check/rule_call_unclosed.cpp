// call-unclosed and call-backtick: brackets that are missing, that close too late, that are too many.
//
// A bracket that is missing shows far from where it was forgotten: the call around takes the bracket of the one
// inside. So for each call that is never closed, repairs are tried on a copy of the text, and the place of the first
// one that makes the call whole is reported.
#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/operators.h"
#include "dev/check/rules.h"
#include "dev/page/operator_counts.h"

namespace quillet::dev {

file_rule check_brackets;

namespace {

// Operators whose parameters are short: names, numbers, words. HTML in them was not meant for them.
constexpr std::array<std::string_view, 25> plain_operators = {
    "-f",        "auth",   "browser",  "calendar", "chat", "combine",  "counter", "dateoffset", "env",
    "flip",      "form",   "gifsize",  "imgsize",  "item", "jpegsize", "load",    "locate",     "macro_exists",
    "macro_use", "number", "optimize", "shift",    "sum",  "uri",      "user"};

bool takes_no_html(std::string_view name) {
  return std::find(plain_operators.begin(), plain_operators.end(), name) != plain_operators.end();
}

bool is_tag_at(std::string_view text, std::size_t at) {
  if (text[at] != '<' || at + 1 >= text.size()) return false;
  return is_letter(text[at + 1]) || text[at + 1] == '/' || text[at + 1] == '!';
}

// Where the HTML begins in a call that takes none; nothing for other calls.
std::optional<std::size_t> html_in(std::string_view text, const call &each) {
  if (!takes_no_html(text.substr(each.name.begin, each.name.size()))) return std::nullopt;
  for (const template_text &parameter : each.parameters) {
    for (const text_range &literal : parameter.literals) {
      for (std::size_t at = literal.begin; at < literal.end; ++at) {
        if (is_tag_at(text, at)) return at;
      }
    }
  }
  return std::nullopt;
}

// The ";" before a parameter that the operator does not take; nothing for calls that have only what they may have.
std::optional<std::size_t> excess_in(std::string_view text, const call &each) {
  const std::string_view name = text.substr(each.name.begin, each.name.size());
  if (find_operator(name) == nullptr) return std::nullopt;
  const parameter_counts counts = counts_of(name);
  if (each.parameters.size() <= counts.most) return std::nullopt;
  const std::size_t start = each.parameters[counts.most].range.begin;
  return text[start - 1] == ';' ? start - 1 : start - 2;  // a backtick is between them
}

// Where the "]" of a call may be missing that has taken the one of a call around it.
std::optional<std::size_t> overrun_in(std::string_view text, const call &each) {
  const std::optional<std::size_t> html = html_in(text, each);
  const std::optional<std::size_t> excess = excess_in(text, each);
  if (html && excess) return std::min(*html, *excess);
  return html ? html : excess;
}

// One template text, parsed again with changes.
class trial {
 public:
  explicit trial(std::string text) : text_(std::move(text)), finder_(text_), tree_(finder_.find({0, text_.size()})) {}
  trial(const trial &) = delete;
  trial &operator=(const trial &) = delete;

  [[nodiscard]] std::size_t unclosed() const {
    std::size_t number = 0;
    for_each_text(text_, tree_, [&](const template_text &part, auto) {
      number += static_cast<std::size_t>(
          std::count_if(part.failures.begin(), part.failures.end(),
                        [](const failed_call &each) { return each.reason == call_failure::never_closed; }));
    });
    return number;
  }
  // The call with that caret.
  [[nodiscard]] std::optional<text_range> call_at(std::size_t caret) const {
    std::optional<text_range> found;
    for_each_call(text_, tree_, [&](const call &each, auto) {
      if (each.caret() == caret) found = each.range;
    });
    return found;
  }
  [[nodiscard]] std::string_view text() const { return text_; }

 private:
  std::string text_;
  call_finder finder_;
  template_text tree_;
};

// The checks of one template text. Offsets are those of the document's text; a trial's text is the template alone.
class bracket_check {
 public:
  bracket_check(const document &file, const template_text &body, finding_list &found)
      : file_(file), body_(body), found_(found), source_(file.text(body.range)) {}

  void run() {
    for_each_call(file_.text(), body_, [&](const call &each, auto) { check_late(each); });
    for_each_text(file_.text(), body_, [&](const template_text &part, auto) {
      for (std::size_t i = 0; i < part.failures.size(); ++i) {
        const failed_call &failed = part.failures[i];
        if (failed.reason != call_failure::never_closed || !is_meant_as_call(failed) || is_explained(failed)) continue;
        const std::size_t end = i + 1 < part.failures.size() ? part.failures[i + 1].name.begin - 1 : part.range.end;
        explain(part, failed, end);
      }
    });
    if (!has_found_) check_surplus();
  }

 private:
  // "2 ^ 3 [or so]" is no call.
  [[nodiscard]] bool is_meant_as_call(const failed_call &failed) const {
    return find_operator(file_.text(failed.name)) != nullptr;
  }

  [[nodiscard]] bool is_explained(const failed_call &failed) const {
    return std::any_of(garbled_.begin(), garbled_.end(), [&](const text_range &each) {
      return each.begin < failed.name.begin && failed.name.end < each.end;
    });
  }

  // Says what is wrong with a call that is never closed; `end` is where the next one of that kind is.
  void explain(const template_text &part, const failed_call &failed, std::size_t end) {
    const std::size_t caret = failed.name.begin - 1;
    if (const auto backtick = odd_backtick(caret, part.range.end)) {
      return report_backtick(*backtick, failed.name);
    }
    if (overrun_after(part, failed.name.end, end)) return;
    add("call-unclosed", {caret, failed.name.end + 1},
        "^" + std::string(file_.text(failed.name)) + "[ is opened here and never closed");
  }

  // A call after that place which has taken the "]" of the one that is never closed: reported when closing it where
  // its parameters end makes one more call whole.
  bool overrun_after(const template_text &part, std::size_t from, std::size_t end) {
    const std::size_t before = trial(std::string(source_)).unclosed();
    bool reported = false;
    for (const call &top : part.calls) {
      if (top.caret() < from || top.caret() >= end) continue;
      for_each_call_in(top, [&](const call &each) {
        if (reported || trials_left_ == 0) return;
        const auto place = overrun_in(file_.text(), each);
        if (!place) return;
        --trials_left_;
        std::string repaired(source_);
        repaired.insert(*place - body_.range.begin, "]");
        if (trial(std::move(repaired)).unclosed() >= before) return;
        report_overrun(each, *place);
        reported = true;
      });
    }
    return reported;
  }

  // The call itself and those in it.
  template <class function>
  void for_each_call_in(const call &top, const function &use) {
    use(top);
    for (const template_text &parameter : top.parameters) {
      for_each_call(file_.text(), parameter, [&](const call &each, auto) { use(each); });
    }
  }

  void report_overrun(const call &each, std::size_t place) {
    const std::size_t at = file_.source_offset(place);
    const text_place shown = file_.source().place_of(at);
    const text_place opened = file_.place_of(each.caret());
    std::string where = "column " + std::to_string(shown.column);
    if (shown.line != opened.line) where = "line " + std::to_string(shown.line) + ", " + where;
    add("call-unclosed", {each.caret(), each.bracket() + 1},
        "^" + std::string(file_.text(each.name)) + "[ is opened here; its ] is missing before " + where,
        {{"Insert ]", {{{at, at}, "]"}}}});
  }

  // The backtick that hides the "]" of the call at `caret`: without backticks the call is closed, and an odd number
  // of them is in it.
  std::optional<std::size_t> odd_backtick(std::size_t caret, std::size_t end) {
    if (source_.find('`') == std::string_view::npos) return std::nullopt;
    const auto range = without_backticks().call_at(caret - body_.range.begin);
    if (!range || body_.range.begin + range->end > end) return std::nullopt;
    return odd_one_in({body_.range.begin + range->begin, body_.range.begin + range->end});
  }

  // Of an odd number of backticks the first that is neither before nor after a whole parameter, or else the last.
  [[nodiscard]] std::optional<std::size_t> odd_one_in(text_range range) const {
    const std::string_view text = file_.text();
    std::size_t number = 0;
    std::optional<std::size_t> inside;
    std::size_t last = 0;
    for (std::size_t at = range.begin; (at = text.find('`', at)) < range.end; ++at) {
      ++number;
      last = at;
      const bool begins = text[at - 1] == '[' || text[at - 1] == ';';
      const bool ends = text[at + 1] == ']' || text[at + 1] == ';';
      if (!begins && !ends && !inside) inside = at;
    }
    if (number % 2 == 0) return std::nullopt;
    return inside ? inside : last;
  }

  void report_backtick(std::size_t backtick, text_range name) {
    const std::size_t at = file_.source_offset(backtick);
    add("call-backtick", {backtick, backtick + 1},
        "this backtick hides the ] of ^" + std::string(file_.text(name)) + "[; backticks come in pairs",
        {{"Delete the backtick", {{{at, at + 1}, ""}}}});
  }

  const trial &without_backticks() {
    if (!masked_) {
      std::string masked(source_);
      std::replace(masked.begin(), masked.end(), '`', '\'');
      masked_.emplace(std::move(masked));
    }
    return *masked_;
  }

  // A call that is closed, but too late.
  void check_late(const call &each) {
    const std::string_view text = file_.text();
    const auto html = html_in(text, each);
    if (html && text.substr(each.range.begin, each.range.size()).find('\n') != std::string_view::npos) {
      return report_overrun(each, *html);
    }
    check_late_backtick(each);
  }

  // With backticks in two calls, the first of the calls may end in the second one.
  void check_late_backtick(const call &each) {
    const std::string_view text = file_.text();
    const std::string_view own = text.substr(each.range.begin, each.range.size());
    if (own.find('`') == std::string_view::npos || own.find('\n') == std::string_view::npos) return;
    if (found_.has_within("call-backtick", file_, each.range)) return;
    const auto range = without_backticks().call_at(each.caret() - body_.range.begin);
    if (!range || body_.range.begin + range->end >= each.range.end) return;
    const auto backtick = odd_one_in({body_.range.begin + range->begin, body_.range.begin + range->end});
    if (!backtick) return;
    if (text[*backtick - 1] == '[' || text[*backtick - 1] == ';') return;  // around a whole parameter, as it may be
    report_backtick(*backtick, each.name);
    garbled_.push_back(each.range);
  }

  // A "]" that closes nothing, after a call on its line. Brackets of the text itself, as in "[1]", come in pairs.
  void check_surplus() {
    const std::string_view text = file_.text();
    std::size_t open = 0;    // not closed yet
    std::size_t opened = 0;  // in all, as the next one
    std::size_t closed = 0;
    std::optional<std::size_t> surplus;
    for (const text_range &literal : body_.literals) {
      for (std::size_t at = literal.begin; at < literal.end; ++at) {
        if (text[at] == '[') {
          ++open;
          ++opened;
        }
        if (text[at] != ']' || is_sign(at)) continue;
        ++closed;
        if (open > 0) {
          --open;
        } else if (!surplus && follows_call(at)) {
          surplus = at;
        }
      }
    }
    if (!surplus || closed <= opened) return;
    const std::size_t at = file_.source_offset(*surplus);
    add("call-unclosed", {*surplus, *surplus + 1}, "this ] closes nothing", {{"Delete ]", {{{at, at + 1}, ""}}}});
  }

  [[nodiscard]] bool follows_call(std::size_t at) const {
    const std::size_t line = file_.text().substr(0, at).rfind('\n') + 1;  // none gives 0
    return std::any_of(body_.calls.begin(), body_.calls.end(),
                       [&](const call &each) { return each.range.end > line && each.range.end <= at; });
  }

  // A face, a quoted bracket, an interval.
  [[nodiscard]] bool is_sign(std::size_t at) const {
    constexpr std::string_view before = ":;=8-'\"\\/";
    return at > body_.range.begin && before.find(file_.text()[at - 1]) != std::string_view::npos;
  }

  void add(std::string_view rule, text_range part, std::string message, std::vector<quick_fix> fixes = {}) {
    has_found_ = true;
    found_.add(rule, file_, part, std::move(message), std::move(fixes));
  }

  const document &file_;
  const template_text &body_;
  finding_list &found_;
  std::string_view source_;
  std::optional<trial> masked_;
  bool has_found_ = false;
  std::vector<text_range> garbled_;  // calls that a backtick has made longer than they are
  int trials_left_ = 50;             // so that a file without any sense takes no time either
};

}  // namespace

void check_brackets(const document &file, const checked_site & /*in*/, finding_list &found) {
  for (const template_text *body : file.templates()) bracket_check(file, *body, found).run();
}

}  // namespace quillet::dev
