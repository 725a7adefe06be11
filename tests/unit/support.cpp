#include "support.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "main/modules.h"

// A request for too much memory is answered as without the sanitizer, by null.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpragmas"
#pragma GCC diagnostic ignored "-Wunknown-warning-option"
#pragma GCC diagnostic ignored "-Wreserved-identifier"  // the sanitizer gives the name
extern "C" const char *__asan_default_options() { return "allocator_may_return_null=1"; }
#pragma GCC diagnostic pop

namespace quillet_tests {

namespace {

// Every test begins as a request does.
class forgetting_listener : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo &) override { quillet::forget_request(); }
};

[[maybe_unused]] const bool listening = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new forgetting_listener);
  return true;
}();

}  // namespace

temporary_folder::temporary_folder() : before_(std::filesystem::current_path()) {
  std::string name = std::filesystem::temp_directory_path() / "quillet_unit_XXXXXX";
  if (mkdtemp(name.data()) == nullptr) std::abort();
  path_ = std::filesystem::canonical(name);
  std::filesystem::current_path(path_);
}

temporary_folder::~temporary_folder() {
  std::filesystem::current_path(before_);
  std::filesystem::remove_all(path_);
}

void write_file(const std::string &path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string file_content(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return "(no file)";
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

std::string log_content(const std::string &path) {
  static const std::regex time(R"(\[\d\d/[A-Z][a-z][a-z]/\d{4} \d\d:\d\d:\d\d\])");
  return std::regex_replace(file_content(path), time, "[time]");
}

child_result run_in_child(const std::function<void()> &body, std::string_view input) {
  std::FILE *streams[3] = {std::tmpfile(), std::tmpfile(), std::tmpfile()};
  for (std::FILE *stream : streams) {
    if (stream == nullptr) std::abort();
  }
  std::fwrite(input.data(), 1, input.size(), streams[0]);
  std::rewind(streams[0]);
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) std::abort();
  if (child == 0) {
    for (int i = 0; i < 3; ++i) dup2(fileno(streams[i]), i);
    body();
    std::fflush(nullptr);
    std::_Exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  std::string written[3];
  for (int i = 0; i < 3; ++i) {
    std::rewind(streams[i]);
    for (int c; (c = std::fgetc(streams[i])) != EOF;) written[i] += static_cast<char>(c);
    std::fclose(streams[i]);
  }
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, written[1], written[2]};
}

}  // namespace quillet_tests
