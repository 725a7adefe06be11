// What several unit tests need: a fresh folder, files, a child process to end, and random texts.
#pragma once

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <string_view>

namespace quillet_tests {

// A fresh folder that is the working directory while this lives; removed afterwards.
class temporary_folder {
 public:
  temporary_folder();
  temporary_folder(const temporary_folder &) = delete;
  temporary_folder &operator=(const temporary_folder &) = delete;
  ~temporary_folder();

  [[nodiscard]] const std::string &path() const { return path_; }

 private:
  std::string path_;
  std::string before_;
};

void write_file(const std::string &path, std::string_view bytes);
// The file's bytes; "(no file)" when there is none.
[[nodiscard]] std::string file_content(const std::string &path);
// The file's bytes with each time stamp of a log line shown as "[time]".
[[nodiscard]] std::string log_content(const std::string &path);

// What a child process did.
struct child_result {
  int status;  // its exit status; -1 when a signal ended it
  std::string output;
  std::string error;
};

// Runs `body` in a child process, with the given standard input. A body that returns ends the child
// with status 0, or 1 when an expectation in it failed; the failures are then in the output.
[[nodiscard]] child_result run_in_child(const std::function<void()> &body, std::string_view input = "");

// Random texts, the same ones in every run.
class random_texts {
 public:
  explicit random_texts(std::uint32_t seed) : generator_(seed) {}

  // A number below `limit`.
  std::size_t number(std::size_t limit) { return generator_() % limit; }
  // At most `longest` pieces, each one of `pieces`.
  template <std::size_t count>
  std::string text(const std::string_view (&pieces)[count], std::size_t longest) {
    std::string made;
    for (std::size_t n = number(longest + 1); n > 0; --n) made += pieces[number(count)];
    return made;
  }

 private:
  std::mt19937 generator_;
};

}  // namespace quillet_tests
