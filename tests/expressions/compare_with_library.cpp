// Compares regular_expression with the C library: random expressions, the error or the number of groups of each, and
// every match with all its groups in random texts, as one call of the C library for all of them gives it.
//
//     compare_with_library [COUNT [FIRST [linear]]]
//
// COUNT expressions, numbered from FIRST on; the expression of a number is always the same. With "linear" only such
// as the linear matcher is made for, and more texts for each. What the C library does not
// survive, or needs too long for, must be refused. Every comparison is made in a child process: if it dies, the next
// one goes on after the expression that killed it.
#include <regex.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "core/expression_cost.h"
#include "core/position_automaton.h"
#include "core/regular_expression.h"
#include "random_expression.h"

namespace {

using quillet::regular_expression;

enum class stage { library_compiles, library_matches, program };

// What the processes share.
struct progress {
  long number;
  stage at;
  unsigned text;
  long expressions, linear, certain, invalid, pairs, matches, refused, unsure, different;
};
progress *shared;

bool linear_only = false;
constexpr double clearly_too_long = 1.0;  // seconds; the limit is half of it
constexpr double clearly_short = 0.2;

struct experiment {
  std::string expression;
  int flags = 0;
  std::vector<std::string> texts;
};

experiment make_experiment(long number) {
  random_numbers random(static_cast<std::uint64_t>(number));
  constexpr expression_kind kinds[] = {expression_kind::everyday, expression_kind::narrow, expression_kind::everyday,
                                       expression_kind::narrow,   expression_kind::any,    expression_kind::any,
                                       expression_kind::any,      expression_kind::broken, expression_kind::broken,
                                       expression_kind::nested};
  experiment result;
  result.expression = random_expression(random, kinds[random.below(linear_only ? 4 : 10)]);
  if (random.one_in(6) && !linear_only) result.flags |= REG_ICASE;
  if (random.one_in(6) && !linear_only) result.flags |= REG_NEWLINE;
  const unsigned texts = linear_only ? 20 : 6;
  for (unsigned i = 0; i < texts; ++i)
    result.texts.push_back(random_text(random, result.expression, 4 + 30 * i / texts));
  return result;
}

double processor_time() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval &time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void limit_time(double seconds) {
  const auto whole = static_cast<time_t>(seconds);
  const itimerval time = {{0, 0}, {whole, static_cast<suseconds_t>((seconds - static_cast<double>(whole)) * 1e6)}};
  setitimer(ITIMER_PROF, &time, nullptr);
}

void report(const experiment &made, const char *what, const std::string &subject) {
  ++shared->different;
  printf("%ld: %s: %s flags %d on \"%s\"\n", shared->number, what, made.expression.c_str(), made.flags,
         subject.c_str());
}

std::string shown(int result, const std::vector<regmatch_t> &pieces) {
  std::string shown_pieces = std::to_string(result);
  if (result != 0) return shown_pieces;
  for (const regmatch_t &piece : pieces) {
    shown_pieces += " " + std::to_string(piece.rm_so) + "-" + std::to_string(piece.rm_eo);
  }
  return shown_pieces;
}

std::string error_text(int error, const regex_t &compiled) {
  char message[1024];
  regerror(error, &compiled, message, sizeof message);
  return std::string("[regex error: ") + message + "]";
}

// One match after the other, each looked for in what is left after the one before, or after the next byte.
template <typename Find>
std::string all_matches(const std::string &subject, std::size_t groups, Find find) {
  std::string answers;
  std::vector<regmatch_t> pieces(groups + 1);
  for (std::size_t offset = 0; offset <= subject.size() && answers.size() < 500;) {
    const int result = find(offset, pieces);
    answers += shown(result, pieces) + "; ";
    if (result != 0) break;
    offset += static_cast<std::size_t>(pieces[0].rm_eo) + (pieces[0].rm_eo > pieces[0].rm_so ? 0 : 1);
  }
  return answers;
}

// The C library's answers for each text; an empty one for a text with a match that takes it rather long.
std::vector<std::string> library_answers(const experiment &made, const regex_t &compiled) {
  std::vector<std::string> answers;
  for (const std::string &subject : made.texts) {
    shared->text = static_cast<unsigned>(answers.size());
    double longest = 0;
    const auto find = [&](std::size_t offset, std::vector<regmatch_t> &pieces) {
      limit_time(clearly_too_long);
      const double start = processor_time();
      const int result = regexec(&compiled, subject.c_str() + offset, pieces.size(), pieces.data(), 0);
      longest = std::max(longest, processor_time() - start);
      return result;
    };
    std::string answer = all_matches(subject, compiled.re_nsub, find);
    answers.push_back(longest < clearly_short ? std::move(answer) : "");
  }
  return answers;
}

void compare_matches(const experiment &made, const regular_expression &tested,
                     const std::vector<std::string> &answers) {
  for (std::size_t i = 0; i < answers.size(); ++i) {
    const std::string &subject = made.texts[i];
    quillet::match_search search(tested, subject);
    const auto find = [&](std::size_t offset, std::vector<regmatch_t> &pieces) {
      limit_time(10);
      const int result = search.find(offset, pieces);
      regmatch_t whole;
      if (search.find(offset, {&whole, 1}) != result ||
          (result == 0 && (whole.rm_so != pieces[0].rm_so || whole.rm_eo != pieces[0].rm_eo))) {
        report(made, "the match alone is another one", subject);
      }
      shared->matches += result == 0;
      return result;
    };
    const std::string answer = all_matches(subject, tested.group_count(), find);
    ++shared->pairs;
    if (answers[i].empty()) {
      ++shared->unsure;
    } else if (answer != answers[i]) {
      report(made, ("not as in the C library, " + answers[i] + "but " + answer).c_str(), subject);
    }
  }
}

bool is_linear(const experiment &made) {
  return made.flags == 0 && quillet::estimate_cost(made.expression) == quillet::expression_cost::small &&
         quillet::read_automaton(made.expression).has_value();
}

void compare(const experiment &made) {
  if (linear_only && !is_linear(made)) return;
  shared->at = stage::library_compiles;
  limit_time(clearly_too_long);
  const double start = processor_time();
  regex_t compiled;
  const int error = regcomp(&compiled, made.expression.c_str(), REG_EXTENDED | made.flags);
  const bool unsure = processor_time() - start > clearly_short;
  shared->at = stage::library_matches;
  const std::vector<std::string> answers =
      error == 0 && !unsure ? library_answers(made, compiled) : std::vector<std::string>();
  shared->at = stage::program;
  limit_time(10);
  const regular_expression tested(made.expression, made.flags);
  quillet::text message;
  if (tested.error() != 0) tested.append_error(tested.error(), message);
  ++shared->expressions;
  shared->invalid += error != 0;
  if (is_linear(made)) {
    ++shared->linear;
    shared->certain += tested.group_count() > 0 && quillet::read_automaton(made.expression)->groups_are_certain;
  }
  shared->unsure += unsure;
  if (unsure) return;
  if (tested.error() != error) {
    report(made, ("error " + std::to_string(tested.error()) + " instead of " + std::to_string(error)).c_str(), "");
  } else if (error != 0) {
    if (message.view() != error_text(error, compiled)) report(made, "another error text", "");
  } else if (tested.group_count() != compiled.re_nsub) {
    report(made, "another number of groups", "");
  } else {
    compare_matches(made, tested, answers);
  }
  if (error == 0) regfree(&compiled);
}

// The C library did not survive it, or took too long.
void expect_refusal(const experiment &made, stage killed_at, unsigned text) {
  shared->at = stage::program;
  limit_time(10);
  ++shared->expressions;
  ++shared->refused;
  const regular_expression tested(made.expression, made.flags);
  if (killed_at == stage::library_compiles || tested.error() != 0) {
    if (tested.error() != REG_ESPACE) report(made, "compiled, which the C library cannot", "");
    return;
  }
  quillet::match_search search(tested, made.texts[text]);
  int result = 0;
  const auto find = [&](std::size_t offset, std::vector<regmatch_t> &pieces) {
    limit_time(10);
    return result = search.find(offset, pieces);
  };
  const std::string answer = all_matches(made.texts[text], tested.group_count(), find);
  // Without a byte that it needs a text is not even tried.
  if (result == REG_ESPACE || result == REG_NOMATCH) return;
  report(made, ("the C library cannot match this, but " + answer).c_str(), made.texts[text]);
}

// Runs `work` in a child process with 1 GB of memory; whether it ended by itself.
template <typename Work>
bool survives(Work work) {
  fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
#ifndef __SANITIZE_ADDRESS__
    const rlimit memory = {rlim_t{1} << 30, rlim_t{1} << 30};
    setrlimit(RLIMIT_AS, &memory);
#endif
    const rlimit core = {0, 0};
    setrlimit(RLIMIT_CORE, &core);
    work();
    fflush(stdout);
    _exit(0);
  }
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace

int main(int count, char **arguments) {
  const long first = count > 2 ? atol(arguments[2]) : 1;
  const long end = first + (count > 1 ? atol(arguments[1]) : 20000);
  linear_only = count > 3 && strcmp(arguments[3], "linear") == 0;
  shared = static_cast<progress *>(
      mmap(nullptr, sizeof(progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  long next = first;
  while (next < end) {
    const bool done = survives([&] {
      for (shared->number = next; shared->number < end; ++shared->number) {
        compare(make_experiment(shared->number));
        if (shared->different > 100) break;
      }
    });
    next = shared->number + 1;
    if (done) break;
    const experiment made = make_experiment(shared->number);
    const stage killed_at = shared->at;
    const unsigned text = shared->text;
    if (killed_at == stage::program) {
      report(made, "kills the program", "");
    } else if (!survives([&] { expect_refusal(made, killed_at, text); })) {
      report(made, "kills the program and the C library", "");
    }
  }
  printf("expressions %ld: invalid %ld, linear %ld (with certain groups %ld), too much for the C library %ld\n",
         shared->expressions, shared->invalid, shared->linear, shared->certain, shared->refused);
  printf("texts %ld: matches %ld, unsure %ld\n", shared->pairs, shared->matches, shared->unsure);
  printf("different: %ld\n", shared->different);
  return shared->different == 0 && shared->expressions > 0 ? 0 : 1;
}
