// Checks many small sites in one process.
//
//     dev_check_sites < LIST             prints what is found in each site
//     dev_check_sites --damage < LIST    checks each site's pages with bytes missing; prints nothing
//
// A line of the list is the document root, a tab, and the working directory. A site begins with a line "== ROOT".
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "dev/check/checker.h"
#include "dev/check/report.h"
#include "main/modules.h"

namespace {

using namespace quillet::dev;

// The same numbers on every machine (Knuth, MMIX).
class random_numbers {
 public:
  std::size_t below(std::size_t limit) {
    state_ = state_ * 6364136223846793005U + 1442695040888963407U;
    return static_cast<std::size_t>(state_ >> 33U) % limit;
  }

 private:
  std::uint64_t state_ = 1;
};

// The text with a piece left out, cut off, said twice, or with a byte that means something put in.
std::string damaged(std::string bytes, random_numbers &random) {
  constexpr std::string_view meaningful = "^[];`$@#\n\t\r<>\"\\{}";
  const std::size_t at = random.below(bytes.size() + 1);
  const std::size_t length = random.below(1 + (bytes.size() - at) / (1 + random.below(8)));
  switch (random.below(4)) {
    case 0:
      return bytes.erase(at, length);
    case 1:
      return bytes.substr(0, at);
    case 2:
      return bytes.insert(at, bytes.substr(at, length));
    default:
      return bytes.insert(at, 1, meaningful[random.below(meaningful.size())]);
  }
}

void check_damaged(const site_folders &folders, random_numbers &random) {
  checker checks(folders, {});
  std::vector<std::string> problems;
  constexpr std::size_t largest = 20000;
  for (const std::string &path : files_below(folders.root)) {
    const document *const file = checks.files().find(path, document_kind::included);
    if (file == nullptr || file->source().bytes().size() > largest) continue;
    std::string bytes(file->source().bytes());
    for (int i = 0; i < 3; ++i) {
      bytes = damaged(std::move(bytes), random);
      checks.files().set_bytes(path, bytes);
      const std::vector<finding> found = checks.check({folders.root}, problems);
      if (report_text(found, checks.files(), true).empty() != found.empty())
        std::printf("no report: %s\n", path.c_str());
    }
    checks.files().set_bytes(path, std::nullopt);
  }
}

}  // namespace

int main(int argc, char **argv) {
  quillet::register_all_operators();
  const bool damage = argc > 1 && std::string_view(argv[1]) == "--damage";
  random_numbers random;
  for (std::string line; std::getline(std::cin, line);) {
    const std::size_t tab = line.find('\t');
    const site_folders folders{line.substr(0, tab), line.substr(tab + 1), false};
    if (damage) {
      check_damaged(folders, random);
      continue;
    }
    checker checks(folders, {});
    std::vector<std::string> problems;
    const std::vector<finding> found = checks.check({folders.root}, problems);
    std::printf("== %s\n%s", folders.root.c_str(), report_gcc(found).c_str());
    for (const std::string &each : problems) std::printf("problem: %s\n", each.c_str());
  }
}
