#include "core/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string>

#include "core/file.h"
#include "support.h"

namespace quillet {
namespace {

using quillet_tests::file_content;
using quillet_tests::temporary_folder;

std::string read_whole(int descriptor) {
  std::string bytes;
  char buffer[256];
  for (ssize_t n; (n = read(descriptor, buffer, sizeof buffer)) > 0;) bytes.append(buffer, static_cast<std::size_t>(n));
  close(descriptor);
  return bytes;
}

// Starts "sh -c script".
pid_t run_script(const char *script, int *stdin_slot, int *stdout_slot, int *stderr_slot) {
  const std::array<char *, 4> arguments = {const_cast<char *>("sh"), const_cast<char *>("-c"),
                                           const_cast<char *>(script), nullptr};
  return run_with_pipes("/bin/sh", arguments.data(), stdin_slot, stdout_slot, stderr_slot);
}

TEST(run_with_pipes, connects_all_three) {
  int in = -1;
  int out = -1;
  int error = -1;
  const pid_t child = run_script("read line; echo \"out $line\"; echo \"error $line\" >&2", &in, &out, &error);
  ASSERT_GT(child, 0);
  EXPECT_EQ(write_all(in, "x\n"), 2U);
  close(in);
  EXPECT_EQ(read_whole(out), "out x\n");
  EXPECT_EQ(read_whole(error), "error x\n");
  EXPECT_EQ(wait_child(child), 0);
}

TEST(run_with_pipes, leaves_what_has_no_slot_as_it_is) {
  const auto run = quillet_tests::run_in_child(
      [] {
        int out = -1;
        const pid_t child = run_script("cat; echo error >&2", nullptr, &out, nullptr);
        EXPECT_EQ(read_whole(out), "inherited");
        EXPECT_EQ(wait_child(child), 0);
      },
      "inherited");
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_EQ(run.error, "error\n");
}

TEST(run_with_pipes, lets_no_child_wait_for_room_in_the_error_pipe) {
  int error = -1;
  const pid_t child = run_script("head -c 1000000 /dev/zero >&2; exit 5", nullptr, nullptr, &error);
  EXPECT_EQ(wait_child(child), 5);
  EXPECT_FALSE(read_whole(error).empty());
}

TEST(run_with_pipes, connects_a_pipe_that_sits_where_it_belongs) {
  const auto run = quillet_tests::run_in_child([] {
    const int report = dup(STDOUT_FILENO);
    close(STDOUT_FILENO);
    close(STDERR_FILENO);
    int error = -1;
    const pid_t child = run_script("echo error >&2", nullptr, nullptr, &error);
    write_all(report, read_whole(error) + std::to_string(wait_child(child)));
  });
  EXPECT_EQ(run.output, "error\n0");
}

TEST(run_with_pipes, gives_the_program_its_arguments) {
  const std::array<char *, 4> arguments = {const_cast<char *>("own name"), const_cast<char *>("-c"),
                                           const_cast<char *>("echo $0"), nullptr};
  int out = -1;
  const pid_t child = run_with_pipes("/bin/sh", arguments.data(), nullptr, &out, nullptr);
  EXPECT_EQ(read_whole(out), "own name\n");
  EXPECT_EQ(wait_child(child), 0);
}

TEST(run_with_pipes, works_when_the_standard_descriptors_are_closed) {
  const auto run = quillet_tests::run_in_child([] {
    const int report = dup(STDOUT_FILENO);
    for (int number = 0; number < 3; ++number) close(number);
    int in = -1;
    int out = -1;
    int error = -1;
    const pid_t child = run_script("read line; echo \"$line\"; echo error >&2", &in, &out, &error);
    write_all(in, "line\n");
    close(in);
    write_all(report, read_whole(out) + read_whole(error) + std::to_string(wait_child(child)));
  });
  EXPECT_EQ(run.output, "line\nerror\n0");
}

TEST(run_with_pipes, gives_the_child_the_default_handling_of_the_child_exit_signal) {
  // No shell in between: it would restore the default itself.
  const std::array<char *, 4> arguments = {const_cast<char *>("grep"), const_cast<char *>("SigIgn"),
                                           const_cast<char *>("/proc/self/status"), nullptr};
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  int out = -1;
  const pid_t child = run_with_pipes("/bin/grep", arguments.data(), nullptr, &out, nullptr);
  const std::string line = read_whole(out);
  std::signal(SIGCHLD, before);
  ASSERT_GT(child, 0);
  const unsigned long long ignored = std::stoull(line.substr(line.find(':') + 1), nullptr, 16);
  EXPECT_EQ(ignored & (1ULL << (SIGCHLD - 1)), 0U);
}

TEST(run_with_pipes, gives_the_child_no_other_descriptors) {
  const int extra = open("/dev/null", O_RDONLY);  // NOLINT: open in the child on purpose
  int out = -1;
  const pid_t child =
      run_script(("test -e /proc/self/fd/" + std::to_string(extra) + " && echo open").c_str(), nullptr, &out, nullptr);
  EXPECT_EQ(read_whole(out), "");
  EXPECT_EQ(wait_child(child), 1);
  close(extra);
}

TEST(run_with_pipes, of_a_program_that_cannot_be_started_ends_the_child_with_127) {
  const std::array<char *, 2> arguments = {const_cast<char *>("x"), nullptr};
  int out = -1;
  const pid_t child = run_with_pipes("/no/such/program", arguments.data(), nullptr, &out, nullptr);
  ASSERT_GT(child, 0);
  EXPECT_EQ(read_whole(out), "");
  EXPECT_EQ(wait_child(child), 127);
}

TEST(run_with_pipes, that_gets_no_pipe_is_0_with_the_error_number_and_no_pipe_left_open) {
  const auto run = quillet_tests::run_in_child([] {
    const int next = dup(STDERR_FILENO);
    // Room for one pipe and a half.
    const rlimit limit = {static_cast<rlim_t>(next) + 3, static_cast<rlim_t>(next) + 3};
    close(next);
    setrlimit(RLIMIT_NOFILE, &limit);
    int in = -1;
    int out = -1;
    int error = -1;
    errno = 0;
    EXPECT_EQ(run_script("true", &in, &out, &error), 0);
    EXPECT_EQ(errno, EMFILE);
    EXPECT_EQ(in, -1);
    const int again = dup(STDERR_FILENO);
    EXPECT_EQ(again, next);
  });
  EXPECT_EQ(run.status, 0) << run.output;
}

TEST(run_with_pipes, that_gets_no_process_is_0_with_the_error_number_and_no_pipe_left_open) {
  const auto run = quillet_tests::run_in_child([] {
    const int next = dup(STDERR_FILENO);
    close(next);
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_NPROC, &none);
    constexpr uid_t nobody = 65534;  // root is not limited
    EXPECT_TRUE(getuid() != 0 || setuid(nobody) == 0);
    int out = -1;
    errno = 0;
    EXPECT_EQ(run_script("true", nullptr, &out, nullptr), 0);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(out, -1);
    const int again = dup(STDERR_FILENO);
    EXPECT_EQ(again, next);
  });
  EXPECT_EQ(run.status, 0) << run.output;
}

TEST(wait_child, gives_the_exit_status) { EXPECT_EQ(wait_child(run_script("exit 7", nullptr, nullptr, nullptr)), 7); }

TEST(wait_child, is_minus_2_when_a_signal_ended_the_child) {
  EXPECT_EQ(wait_child(run_script("kill -9 $$", nullptr, nullptr, nullptr)), -2);
}

TEST(wait_child, is_minus_1_when_there_is_nothing_to_wait_for) {
  const pid_t child = run_script("true", nullptr, nullptr, nullptr);
  wait_child(child);
  EXPECT_EQ(wait_child(child), -1);
}

int interrupted_input = -1;

TEST(wait_child, continues_waiting_after_a_signal) {
  struct sigaction action {};  // which interrupts
  struct sigaction before {};
  action.sa_handler = [](int) { write_all(interrupted_input, "\n"); };
  sigaction(SIGUSR1, &action, &before);
  // Sends the signal once this process waits, and ends when it has come.
  const pid_t child =
      run_script("until grep -q '^State:.S' /proc/$PPID/status; do :; done; kill -USR1 $PPID; read line; exit 7",
                 &interrupted_input, nullptr, nullptr);
  EXPECT_EQ(wait_child(child), 7);
  close(interrupted_input);
  sigaction(SIGUSR1, &before, nullptr);
}

TEST(run_shell, gives_the_status_of_the_shell) {
  EXPECT_EQ(run_shell("true"), 0);
  EXPECT_EQ(WEXITSTATUS(run_shell("exit 3")), 3);
}

TEST(run_shell, puts_a_backslash_before_every_semicolon_and_bar) {
  const temporary_folder folder;
  EXPECT_EQ(run_shell("echo a;b|c >out"), 0);
  EXPECT_EQ(file_content("out"), "a;b|c\n");
}

}  // namespace
}  // namespace quillet
