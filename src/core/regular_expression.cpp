#include "core/regular_expression.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "cgi/log.h"
#include "core/expression_cost.h"
#include "core/trial.h"

namespace quillet {

namespace {

// 0 or the C library's error. The process itself never compiles what a trial did not survive.
int compile_safely(const char *expression, int flags, bool try_first, regex_t &compiled) {
  if (try_first) {
    const pid_t trial = start_trial();
    if (trial == 0) _exit(regcomp(&compiled, expression, flags));
    const int result = end_trial(trial);
    if (result != 0) return result < 0 ? REG_ESPACE : result;
  }
  return regcomp(&compiled, expression, flags);
}

// 0, REG_NOMATCH or an error. The C library says "no match", too, when it has no memory; only errno tells.
int match_once(const regex_t &compiled, std::string_view subject, std::span<regmatch_t> pieces) {
  // REG_STARTEND: the C library need not look for the end of the subject.
  pieces[0] = {0, static_cast<regoff_t>(subject.size())};
  errno = 0;
  const int result = regexec(&compiled, subject.data(), pieces.size(), pieces.data(), REG_STARTEND);
  return result == REG_NOMATCH && errno == ENOMEM ? REG_ESPACE : result;
}

// --- the expressions used last ---

struct kept_expression {
  text source;
  int flags = 0;
  std::shared_ptr<const regular_expression> compiled;
};

constexpr std::size_t kept_count = 8;
kept_expression kept_expressions[kept_count];
std::size_t next_kept = 0;

}  // namespace

regular_expression::regular_expression(std::string_view expression, int flags) {
  const expression_cost cost = estimate_cost(expression);
  may_not_end_ = cost == expression_cost::unbounded;
  // The C library takes the empty expression; the language does not.
  error_ = expression.empty() ? REG_BADPAT
                              : compile_safely(text(expression).c_str(), REG_EXTENDED | flags,
                                               cost != expression_cost::small, compiled_);
}

regular_expression::~regular_expression() {
  if (error_ == 0) regfree(&compiled_);
}

int regular_expression::match(std::string_view subject, std::span<regmatch_t> pieces) const {
  // Asked for fewer places the C library may give another match, or none.
  if (pieces.size() <= group_count()) {
    std::vector<regmatch_t> all(group_count() + 1);
    const int result = match(subject, all);
    std::copy_n(all.begin(), pieces.size(), pieces.begin());
    return result;
  }
  if (may_not_end_) {
    const pid_t trial = start_trial();
    if (trial == 0) _exit(match_once(compiled_, subject, pieces));
    const int result = end_trial(trial);
    if (result != 0) return result < 0 ? REG_ESPACE : result;
  }
  const int result = match_once(compiled_, subject, pieces);
  if (result == REG_ESPACE && errno == ENOMEM) fatal("unable to malloc memory to match a regular expression");
  return result;
}

void regular_expression::append_error(int error, text &out) const {
  char message[1024];
  regerror(error, &compiled_, message, sizeof message);
  out.append("[regex error: ");
  out.append(message);
  out.append(']');
}

std::shared_ptr<const regular_expression> compile_expression(std::string_view expression, int flags) {
  for (const kept_expression &kept : kept_expressions) {
    if (kept.compiled && kept.flags == flags && kept.source.view() == expression) return kept.compiled;
  }
  kept_expression &kept = kept_expressions[next_kept++ % kept_count];
  kept = {text(expression), flags, std::make_shared<regular_expression>(expression, flags)};
  return kept.compiled;
}

}  // namespace quillet
