#include "core/regular_expression.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "core/end.h"
#include "core/expression_cost.h"
#include "core/needed_byte.h"
#include "core/onlooker.h"
#include "core/preparation.h"
#include "core/trial.h"

namespace quillet {

namespace {

// 0, REG_NOMATCH or an error. The C library says "no match", too, when it has no memory; only errno tells.
int match_once(const regex_t &compiled, std::string_view subject, std::span<regmatch_t> pieces) {
  // REG_STARTEND: the C library need not look for the end of the subject.
  pieces[0] = {0, static_cast<regoff_t>(subject.size())};
  errno = 0;
  const int result = regexec(&compiled, subject.data(), pieces.size(), pieces.data(), REG_STARTEND);
  return result == REG_NOMATCH && errno == ENOMEM ? REG_ESPACE : result;
}

void move_by(std::span<regmatch_t> pieces, std::ptrdiff_t distance) {
  for (regmatch_t &piece : pieces) {
    if (piece.rm_so < 0) continue;
    piece.rm_so += static_cast<regoff_t>(distance);
    piece.rm_eo += static_cast<regoff_t>(distance);
  }
}

// --- the expressions used last ---

struct kept_expression {
  text source;
  int flags = 0;
  std::shared_ptr<const regular_expression> compiled;
};

constexpr std::size_t kept_count = 8;
struct {
  kept_expression expressions[kept_count];
  std::size_t next = 0;
} cache;

}  // namespace

regular_expression::regular_expression(std::string_view expression, int flags) : source_(expression), flags_(flags) {
  if (expression.empty()) {  // the C library takes it; the language does not
    error_ = REG_BADPAT;
    return;
  }
  cost_ = estimate_cost(expression);
  if (flags == 0 && cost_ == expression_cost::small) {
    if (const std::optional<position_automaton> automaton = read_automaton(expression)) {
      linear_ = std::make_unique<linear_matcher>(*automaton);
      group_count_ = automaton->group_count;
      return;
    }
  }
  error_ = compile();
  if (error_ != 0) return;
  group_count_ = compiled_.re_nsub;
  needed_byte_ = needed_byte(expression, flags);
}

regular_expression::~regular_expression() {
  if (is_compiled_) regfree(&compiled_);
}

// 0 or the C library's error. The process itself never compiles what a trial did not survive.
int regular_expression::compile() const {
  const int flags = REG_EXTENDED | flags_;
  if (cost_ != expression_cost::small) {
    const pid_t trial = start_trial();
    if (trial == 0) _exit(regcomp(&compiled_, source_.c_str(), flags));
    const int result = end_trial(trial);
    if (result != 0) return result < 0 ? REG_ESPACE : result;
  }
  const int error = regcomp(&compiled_, source_.c_str(), flags);
  is_compiled_ = error == 0;
  return error;
}

int regular_expression::match(std::string_view subject, std::span<regmatch_t> pieces) const {
  return match_search(*this, subject).find(0, pieces);
}

void regular_expression::append_error(int error, text &out) const {
  char message[1024];
  regerror(error, &compiled_, message, sizeof message);
  const std::size_t start = out.size();
  out.append("[regex error: ");
  out.append(message);
  out.append(']');
  tell_message(out.view().substr(start));
}

int match_search::find(std::size_t offset, std::span<regmatch_t> pieces) {
  if (way_ == way::untried) {
    const bool is_linear =
        preparation_enabled() && expression_.linear_ != nullptr && expression_.linear_->mark(subject_, marks_);
    way_ = is_linear ? way::linear : way::by_library;
  }
  if (way_ == way::linear) return find_linearly(offset, pieces);
  const std::string_view rest = subject_.substr(offset);
  const std::optional<char> needed = preparation_enabled() ? expression_.needed_byte_ : std::nullopt;
  if (needed && rest.find(*needed) == std::string_view::npos) return REG_NOMATCH;
  return expression_.match_by_library(rest, pieces);
}

int match_search::find_linearly(std::size_t offset, std::span<regmatch_t> pieces) {
  const linear_matcher &matcher = *expression_.linear_;
  if (!matcher.find(marks_, offset, pieces[0])) return REG_NOMATCH;
  const regmatch_t whole = pieces[0];
  const auto distance = static_cast<std::ptrdiff_t>(offset);
  const std::size_t groups = expression_.group_count_;
  if (pieces.size() > 1 && groups > 0 && !matcher.automaton().groups_are_certain) {
    const std::string_view span =
        subject_.substr(static_cast<std::size_t>(whole.rm_so), static_cast<std::size_t>(whole.rm_eo - whole.rm_so));
    const int result = expression_.match_by_library(span, pieces);
    if (result == 0) move_by(pieces, whole.rm_so - distance);
    return result;
  }
  std::fill(pieces.begin() + 1, pieces.end(), regmatch_t{-1, -1});
  if (groups > 0 && pieces.size() > groups) matcher.find_groups(marks_, whole, pieces.subspan(1), scratch_);
  move_by(pieces, -distance);
  return 0;
}

int regular_expression::match_by_library(std::string_view subject, std::span<regmatch_t> pieces) const {
  if (!is_compiled_) {
    if (const int error = compile(); error != 0) return error;
  }
  // Asked for fewer places the C library may give another match, or none.
  if (pieces.size() <= group_count_) {
    std::vector<regmatch_t> all(group_count_ + 1);
    const int result = match_by_library(subject, all);
    std::copy_n(all.begin(), pieces.size(), pieces.begin());
    return result;
  }
  if (cost_ == expression_cost::unbounded) {
    const pid_t trial = start_trial();
    if (trial == 0) _exit(match_once(compiled_, subject, pieces));
    const int result = end_trial(trial);
    if (result != 0) return result < 0 ? REG_ESPACE : result;
  }
  const int result = match_once(compiled_, subject, pieces);
  if (result == REG_ESPACE && errno == ENOMEM) fatal("unable to malloc memory to match a regular expression");
  return result;
}

std::shared_ptr<const regular_expression> compile_expression(std::string_view expression, int flags) {
  for (const kept_expression &kept : cache.expressions) {
    if (kept.compiled && kept.flags == flags && kept.source.view() == expression) return kept.compiled;
  }
  kept_expression &kept = cache.expressions[cache.next++ % kept_count];
  kept = {text(expression), flags, std::make_shared<regular_expression>(expression, flags)};
  return kept.compiled;
}

}  // namespace quillet
