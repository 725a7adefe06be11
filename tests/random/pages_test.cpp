// Compares, for random pages, the way that keeps things prepared with the plain way of the rules.
//
//   random_pages [--count N] [--seed N] [--page N] [--file PAGE]
//
// Runs N pages (100,000 when nothing is said) from a seed on; --page shows one page and compares it, --file
// compares the page in a file. A page that differs is shown as short as it could be made, with both results,
// and ends the run with status 1.
//
// Pages run in child processes: one that a page ends, or that takes too long, costs only that page.
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

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

#include "page_generator.h"
#include "page_run.h"

namespace {

using namespace quillet_tests;

// What a child tells its parent.
struct progress {
  std::uint64_t page;  // under way
  bool prepared;       // which way it goes
  bool differs;
};

progress *shared = nullptr;

// A page of this many seconds of CPU, the system's part for it among them, is left out; far more than any page that is
// worth comparing takes.
constexpr int page_seconds = 2;

void start_clock() {
  const itimerval limit = {{0, 0}, {page_seconds, 0}};
  setitimer(ITIMER_PROF, &limit, nullptr);
}

// Runs the body in a child process; gives its status as from waitpid.
int in_child(const std::function<void()> &body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) std::abort();
  if (child == 0) {
    const rlimit memory = {std::uint64_t{1} << 31U, std::uint64_t{1} << 31U};
#ifndef __SANITIZE_ADDRESS__
    setrlimit(RLIMIT_AS, &memory);
#else
    static_cast<void>(memory);
#endif
    body();
    std::_Exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return status;
}

bool took_too_long(int status) { return WIFSIGNALED(status) && WTERMSIG(status) == SIGPROF; }

// How a page ends that ends its process, when it goes one way only.
int status_of(const std::string &page, bool prepared) {
  return in_child([&] {
    start_clock();
    static_cast<void>(run_page(page, prepared));
  });
}

// Whether a page differs, run apart from this process.
bool differs(const std::string &page) {
  const int status = in_child([&] {
    start_clock();
    const page_result plain = run_page(page, false);
    shared->prepared = true;
    std::_Exit(plain == run_page(page, true) ? 0 : 1);
  });
  if (WIFEXITED(status) && WEXITSTATUS(status) <= 1) return WEXITSTATUS(status) == 1;
  const int plain = status_of(page, false);
  return !took_too_long(plain) && plain != status_of(page, true);
}

// The page without every piece that it differs without.
std::string shrink(std::string page) {
  int trials = 3000;
  for (std::size_t piece = page.size() / 2; piece > 0; piece = piece == 1 ? 0 : (piece + 1) / 2) {
    for (std::size_t at = 0; at < page.size() && trials > 0;) {
      std::string shorter = page;
      shorter.erase(at, piece);
      --trials;
      if (differs(shorter)) {
        page = shorter;
      } else {
        at += piece;
      }
    }
  }
  return page;
}

void report(std::uint64_t number, const std::string &page) {
  std::fprintf(stderr, "page %llu differs:\n%s\n\n", static_cast<unsigned long long>(number), page.c_str());
  const std::string shortest = shrink(page);
  std::fprintf(stderr, "as short as it could be made:\n%s\n\n", shortest.c_str());
  in_child([&] {
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
    shared->prepared = false;
    const std::string page = make_page(number);
    start_clock();
    const page_result plain = run_page(page, false);
    shared->prepared = true;
    if (plain == run_page(page, true)) continue;
    shared->differs = true;
    return;
  }
}

// Compares `count` pages; gives the number of pages that ended their process or were left out, or -1 after a
// difference.
long long compare_all(std::uint64_t seed, std::uint64_t count) {
  long long apart = 0;
  const std::uint64_t end = seed + count;
  constexpr std::uint64_t pages_of_a_child = 2000;
  for (std::uint64_t first = seed; first < end;) {
    const std::uint64_t last = std::min(end, first + pages_of_a_child);
    const int status = in_child([&] { compare_pages(first, last); });
    if (status == 0 && !shared->differs) {
      first = last;
      continue;
    }
    const std::string page = make_page(shared->page);
    if (shared->differs || (!took_too_long(status) && status_of(page, false) != status_of(page, true))) {
      report(shared->page, page);
      return -1;
    }
    std::fprintf(stderr, "page %llu %s\n", static_cast<unsigned long long>(shared->page),
                 took_too_long(status) ? "takes too long" : "ends its process");
    ++apart;
    first = shared->page + 1;
  }
  return apart;
}

int compare_one(std::uint64_t number, const std::string &page) {
  if (!differs(page)) {
    std::fprintf(stderr, "%s\n\nno difference\n", page.c_str());
    return 0;
  }
  report(number, page);
  return 1;
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
    const long long apart = compare_all(seed, count);
    if (apart >= 0) {
      std::fprintf(stderr, "%llu pages are the same both ways; %lld of them ended their process or were left out\n",
                   static_cast<unsigned long long>(count), apart);
    }
    status = apart < 0 ? 1 : 0;
  }
  leave_page_folder();
  return status;
}
