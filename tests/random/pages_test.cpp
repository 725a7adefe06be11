// Compares, for random pages, the way that keeps things prepared with the plain way of the rules.
//
//   random_pages [--count N] [--seed N] [--page N] [--file PAGE]
//
// Runs N pages (100,000 when nothing is said) from a seed on; --page shows one page and compares it, --file
// compares the page in a file. A page that differs is shown as short as it could be made, with both results,
// and ends the run with status 1; so does one that ends its process as no page may (a sanitizer's report, a signal)
// or does not end.
//
// Thousands of pages run in one child process, each with everything set to its beginnings; a page that ends the
// process costs a new one.
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef QUILLET_SANITIZED
#include <sanitizer/lsan_interface.h>
#endif

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include "core/end.h"
#include "page_generator.h"
#include "page_run.h"

#ifdef QUILLET_SANITIZED
// A page may start hundreds of trials, each in a copy of this process: with 256 MB of freed memory, as usual, a
// thousand pages take 14 s, with this 8. A text that grows and grows ends its page here, in other builds by the limit
// of the address space.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpragmas"
#pragma GCC diagnostic ignored "-Wunknown-warning-option"
#pragma GCC diagnostic ignored "-Wreserved-identifier"  // the sanitizer gives the name
extern "C" const char *__asan_default_options() {
  return "quarantine_size_mb=8:max_allocation_size_mb=256:allocator_may_return_null=1";
}
#pragma GCC diagnostic pop
#endif

namespace {

using namespace quillet_tests;

// What a child tells its parent.
struct progress {
  std::uint64_t page;  // under way
  bool differs;
};

progress *shared = nullptr;

// Seconds of CPU, the system's part among them. A page that takes more than the first runs again by itself: with the
// second it ends, or it hangs. So does one that waits for so many seconds.
constexpr int usual_seconds = 2;
constexpr int most_seconds = 120;
constexpr int waiting_seconds = 300;

void start_clock(int seconds) {
  const itimerval limit = {{0, 0}, {seconds, 0}};
  setitimer(ITIMER_PROF, &limit, nullptr);
  alarm(waiting_seconds);
}

bool took_too_long(int status) {
  return WIFSIGNALED(status) && (WTERMSIG(status) == SIGPROF || WTERMSIG(status) == SIGALRM);
}

// Whether a page may end its process so.
bool may_end(int status) {
  constexpr int seen_by_a_parent = 0xff;
  return WIFEXITED(status) && (WEXITSTATUS(status) == (quillet::exit_fatal & seen_by_a_parent) ||
                               WEXITSTATUS(status) == (quillet::exit_error_page & seen_by_a_parent));
}

// Runs the body in a child process; gives its status as from waitpid.
int in_child(const std::function<void()> &body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) std::abort();
  if (child == 0) {
#ifndef QUILLET_SANITIZED  // the sanitizers reserve the address space whole
    const rlimit memory = {std::uint64_t{1} << 31U, std::uint64_t{1} << 31U};
    setrlimit(RLIMIT_AS, &memory);
#endif
    body();
    std::_Exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return status;
}

// How a page ends its process when it goes one way only.
int status_of(const std::string &page, bool prepared) {
  return in_child([&] {
    start_clock(most_seconds);
    static_cast<void>(run_page(page, prepared));
  });
}

enum class finding { none, ends_process, differs, breaks, hangs };

const char *describe(finding found) {
  switch (found) {
    case finding::differs:
      return "differs";
    case finding::breaks:
      return "breaks the program";
    case finding::hangs:
      return "hangs";
    case finding::ends_process:
      return "ends its process";
    default:
      return "is the same both ways";
  }
}

bool is_allowed(finding found) { return found == finding::none || found == finding::ends_process; }

// What is found of a page by the ends of its processes when it goes each way by itself.
finding look_at_ends(const std::string &page) {
  const int plain = status_of(page, false);
  const int prepared = status_of(page, true);
  if (took_too_long(plain) || took_too_long(prepared)) return finding::hangs;
  if ((plain != 0 && !may_end(plain)) || (prepared != 0 && !may_end(prepared))) return finding::breaks;
  if (plain != prepared) return finding::differs;
  return plain == 0 ? finding::none : finding::ends_process;
}

// What is found of a page that runs apart from this process.
finding look_at(const std::string &page) {
  shared->differs = false;
  const int status = in_child([&] {
    start_clock(most_seconds);
    const page_result plain = run_page(page, false);
    shared->differs = plain != run_page(page, true);
  });
  if (shared->differs) return finding::differs;
  return status == 0 ? finding::none : look_at_ends(page);
}

// The page without every piece that the same is found without.
std::string shrink(std::string page, finding found) {
  int trials = found == finding::hangs ? 0 : 3000;
  for (std::size_t piece = page.size() / 2; piece > 0; piece = piece == 1 ? 0 : (piece + 1) / 2) {
    for (std::size_t at = 0; at < page.size() && trials > 0;) {
      std::string shorter = page;
      shorter.erase(at, piece);
      --trials;
      if (look_at(shorter) == found) {
        page = shorter;
      } else {
        at += piece;
      }
    }
  }
  return page;
}

void report(std::uint64_t number, const std::string &page, finding found) {
  std::fprintf(stderr, "page %llu %s:\n%s\n\n", static_cast<unsigned long long>(number), describe(found), page.c_str());
  const std::string shortest = shrink(page, found);
  std::fprintf(stderr, "as short as it could be made:\n%s\n\n", shortest.c_str());
  in_child([&] {
    start_clock(most_seconds);
    const page_result plain = run_page(shortest, false);
    std::fprintf(stderr, "%s", describe_difference(plain, run_page(shortest, true)).c_str());
  });
  std::fprintf(stderr, "status, plain: %d\nstatus, prepared: %d\n", status_of(shortest, false),
               status_of(shortest, true));
}

// Compares the pages from `first` up to `end` in this process, as far as none of them ends it.
void compare_pages(std::uint64_t first, std::uint64_t end) {
  for (std::uint64_t number = first; number < end; ++number) {
    shared->page = number;
    const std::string page = make_page(number);
    start_clock(usual_seconds);
    const page_result plain = run_page(page, false);
    if (plain == run_page(page, true)) continue;
    shared->differs = true;
    return;
  }
#ifdef QUILLET_SANITIZED
  __lsan_do_leak_check();
#endif
}

// What is found of the page that ended the child which compared it after those before it.
finding look_again(std::uint64_t first, int status) {
  const bool differed = shared->differs;
  const std::string page = make_page(shared->page);
  const finding alone = may_end(status) ? look_at_ends(page) : look_at(page);
  if (!is_allowed(alone)) {
    report(shared->page, page, alone);
    return alone;
  }
  const finding together = differed                                   ? finding::differs
                           : took_too_long(status) || may_end(status) ? alone
                                                                      : finding::breaks;
  std::fprintf(stderr, "page %llu %s%s%s\n", static_cast<unsigned long long>(shared->page), describe(together),
               together == alone ? "" : " after those from ", together == alone ? "" : std::to_string(first).c_str());
  return together;
}

// Compares `count` pages; gives the number of pages that ended their process, or -1 after a finding.
long long compare_all(std::uint64_t seed, std::uint64_t count) {
  long long ended = 0;
  const std::uint64_t end = seed + count;
  constexpr std::uint64_t pages_of_a_child = 2000;
  for (std::uint64_t first = seed; first < end;) {
    const std::uint64_t last = std::min(end, first + pages_of_a_child);
    shared->differs = false;
    const int status = in_child([&] { compare_pages(first, last); });
    if (status == 0 && !shared->differs) {
      first = last;
      continue;
    }
    const finding found = look_again(first, status);
    if (!is_allowed(found)) return -1;
    if (found == finding::ends_process) ++ended;
    first = shared->page + 1;
  }
  return ended;
}

int compare_one(std::uint64_t number, const std::string &page) {
  const finding found = look_at(page);
  if (!is_allowed(found)) {
    report(number, page, found);
    return 1;
  }
  std::fprintf(stderr, "%s\n\n%s\n", page.c_str(), describe(found));
  return 0;
}

std::string read_page(const char *path) {
  std::ostringstream bytes;
  bytes << std::ifstream(path, std::ios::binary).rdbuf();
  return bytes.str();
}

}  // namespace

int main(int argc, char **argv) {
  std::uint64_t count = 100000;
  std::uint64_t seed = 1;
  const char *one_page = nullptr;
  std::string file;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (std::strcmp(argv[i], "--count") == 0) count = std::strtoull(argv[i + 1], nullptr, 10);
    if (std::strcmp(argv[i], "--seed") == 0) seed = std::strtoull(argv[i + 1], nullptr, 10);
    if (std::strcmp(argv[i], "--page") == 0) one_page = argv[i + 1];
    if (std::strcmp(argv[i], "--file") == 0) file = read_page(argv[i + 1]);
  }
  shared = static_cast<progress *>(
      mmap(nullptr, sizeof(progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  *shared = {};
  enter_page_folder();
  int status = 0;
  if (one_page != nullptr) {
    const std::uint64_t number = std::strtoull(one_page, nullptr, 10);
    status = compare_one(number, make_page(number));
  } else if (!file.empty()) {
    status = compare_one(0, file);
  } else {
    const long long ended = compare_all(seed, count);
    if (ended >= 0) {
      std::fprintf(stderr, "%llu pages are the same both ways; %lld of them ended their process\n",
                   static_cast<unsigned long long>(count), ended);
    }
    status = ended < 0 ? 1 : 0;
  }
  leave_page_folder();
  return status;
}
