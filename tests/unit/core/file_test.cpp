#include "core/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <set>
#include <string>

#include "support.h"

namespace quillet {
namespace {

using namespace std::string_view_literals;
using quillet_tests::file_content;
using quillet_tests::temporary_folder;
using quillet_tests::write_file;

// --- the line filter ---

std::string filtered(std::string_view bytes, bool drop_empty_lines) {
  text t(bytes);
  filter_lines(t, drop_empty_lines);
  return std::string(t.view());
}

TEST(filter_lines, removes_returns_and_comment_lines_and_keeps_empty_lines) {
  EXPECT_EQ(filtered("x\r\n#c\n\ny", false), "x\n\ny");
}

TEST(filter_lines, removes_empty_lines_when_asked) { EXPECT_EQ(filtered("x\r\n#c\n\ny", true), "x\ny"); }

TEST(filter_lines, removes_carriage_returns_anywhere) { EXPECT_EQ(filtered("\ra\rb\r\r\nc\r", false), "ab\nc"); }

TEST(filter_lines, keeps_a_hash_that_begins_no_line) { EXPECT_EQ(filtered("a #b\n #c\n", false), "a #b\n #c\n"); }

TEST(filter_lines, removes_a_comment_after_a_carriage_return) { EXPECT_EQ(filtered("a\n\r#c\nb", false), "a\nb"); }

TEST(filter_lines, removes_a_comment_at_the_very_start_and_at_the_very_end) {
  EXPECT_EQ(filtered("#c\na\n#d", false), "a\n");
  EXPECT_EQ(filtered("#c", false), "");
}

TEST(filter_lines, takes_a_line_of_returns_for_an_empty_one) {
  EXPECT_EQ(filtered("a\n\r\r\nb", true), "a\nb");
  EXPECT_EQ(filtered("a\n\r\r\nb", false), "a\n\nb");
}

TEST(filter_lines, removes_leading_and_trailing_empty_lines_when_asked) {
  EXPECT_EQ(filtered("\n\na\n\n\n", true), "a\n");
}

TEST(filter_lines, cuts_the_bytes_at_the_first_nul) {
  EXPECT_EQ(filtered("a\nb\0c\n"sv, false), "a\nb");
  EXPECT_EQ(filtered("a\r\nb\0\n#c"sv, true), "a\nb");
  EXPECT_EQ(filtered("\0abc"sv, false), "");
}

TEST(filter_lines, leaves_absent_text_absent) {
  text t;
  filter_lines(t, true);
  EXPECT_TRUE(t.is_null());
}

// The rule as it is told, one step after the other.
std::string plainly_filtered(const std::string &bytes, bool drop_empty_lines) {
  std::string without_returns;
  for (const char c : bytes.substr(0, bytes.find('\0'))) {
    if (c != '\r') without_returns += c;
  }
  std::string result;
  for (std::size_t at = 0; at < without_returns.size();) {
    std::string line;
    while (at < without_returns.size() && (line.empty() || line.back() != '\n')) line += without_returns[at++];
    if (line[0] == '#' || (drop_empty_lines && line == "\n")) continue;
    result += line;
  }
  return result;
}

TEST(filter_lines, follows_the_plain_rule_on_random_texts) {
  quillet_tests::random_texts random(1);
  constexpr std::string_view pieces[] = {"a", "\r", "\n", "#", "\n\n", "\r\n", "b c", "\0"sv};
  for (int i = 0; i < 20000; ++i) {
    const std::string bytes = random.text(pieces, 12);
    ASSERT_EQ(filtered(bytes, false), plainly_filtered(bytes, false)) << testing::PrintToString(bytes);
    ASSERT_EQ(filtered(bytes, true), plainly_filtered(bytes, true)) << testing::PrintToString(bytes);
  }
}

// --- reading ---

TEST(read_text_file, gives_the_filtered_file) {
  const temporary_folder folder;
  write_file("f", "x\r\n#c\n\ny");
  EXPECT_EQ(read_text_file("f", false, false).view(), "x\n\ny");
  EXPECT_EQ(read_text_file("f", true, false).view(), "x\ny");
}

TEST(read_text_file, gives_the_same_under_a_lock) {
  const temporary_folder folder;
  write_file("f", "abc\n");
  EXPECT_EQ(read_text_file("f", false, true).view(), "abc\n");
}

TEST(read_text_file, of_a_missing_file_or_without_a_path_is_null) {
  const temporary_folder folder;
  EXPECT_TRUE(read_text_file("missing", false, false).is_null());
  EXPECT_TRUE(read_text_file("", false, false).is_null());
  EXPECT_TRUE(read_text_file("no/such/folder", false, false).is_null());
}

TEST(read_text_file, of_a_directory_or_a_pipe_is_null) {
  const temporary_folder folder;
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  EXPECT_TRUE(read_text_file(".", false, false).is_null());
  EXPECT_TRUE(read_text_file("pipe", false, true).is_null());
}

// Does `call` while another process holds the lock on the file. That one lets go when it sees that the call waits,
// and has done `meanwhile` before. False when the call came back without having waited.
template <class called, class done>
bool waits_for_lock(const char *path, called call, done meanwhile) {
  int held[2];
  int returned[2];
  EXPECT_EQ(pipe(held), 0);
  EXPECT_EQ(pipe(returned), 0);
  const pid_t child = fork();
  if (child == 0) {
    close(returned[1]);
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (flock(file, LOCK_EX) != 0 || write(held[1], "x", 1) != 1) _exit(2);
    const std::string waiter = "-> FLOCK  ADVISORY  WRITE " + std::to_string(getppid()) + ' ';
    pollfd end{returned[0], POLLIN, 0};
    bool waits = false;
    while (!waits && poll(&end, 1, 0) == 0) {
      waits = file_content("/proc/locks").find(waiter) != std::string::npos;
      sched_yield();
    }
    meanwhile();
    _exit(waits ? 0 : 1);
  }
  close(returned[0]);
  char byte = 0;
  EXPECT_EQ(read(held[0], &byte, 1), 1);
  call();
  close(returned[1]);
  int status = -1;
  waitpid(child, &status, 0);
  close(held[0]);
  close(held[1]);
  return status == 0;
}

TEST(read_text_file, waits_for_the_lock_of_another_process) {
  const temporary_folder folder;
  write_file("f", "half");
  text found;
  EXPECT_TRUE(waits_for_lock(
      "f", [&] { found = read_text_file("f", false, true); }, [] { write_file("f", "the whole"); }));
  EXPECT_EQ(found.view(), "the whole");
}

TEST(read_text_file, of_an_empty_file_is_empty_and_present) {
  const temporary_folder folder;
  write_file("f", "");
  const text t = read_text_file("f", false, false);
  EXPECT_FALSE(t.is_null());
  EXPECT_TRUE(t.is_empty());
}

TEST(read_text_file, of_a_file_shorter_than_its_size_gives_what_is_there) {
  // The system's own files have the size of a page, whatever they hold.
  constexpr auto path = "/sys/devices/system/cpu/online";
  if (!std::filesystem::exists(path)) GTEST_SKIP();
  EXPECT_EQ(read_text_file(path, false, false).view(), file_content(path));
}

TEST(read_text_file, reads_a_large_file_whole) {
  const temporary_folder folder;
  const std::string bytes(3 << 20, 'x');
  write_file("f", bytes);
  EXPECT_TRUE(read_text_file("f", false, false).view() == bytes);
}

// --- writing ---

TEST(write_text_file, makes_the_file) {
  const temporary_folder folder;
  EXPECT_TRUE(write_text_file("f", "abc", false).is_null());
  EXPECT_EQ(file_content("f"), "abc");
}

TEST(write_text_file, makes_the_file_with_mode_666_less_the_process_mask) {
  const temporary_folder folder;
  const mode_t before = umask(2);
  EXPECT_TRUE(write_text_file("f", "abc", true).is_null());
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat("f", &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0664U);
}

TEST(write_text_file, cuts_a_longer_file) {
  const temporary_folder folder;
  write_file("f", "a much longer text");
  EXPECT_TRUE(write_text_file("f", "short", true).is_null());
  EXPECT_EQ(file_content("f"), "short");
}

TEST(write_text_file, of_nothing_empties_the_file) {
  const temporary_folder folder;
  write_file("f", "text");
  EXPECT_TRUE(write_text_file("f", {}, false).is_null());
  EXPECT_EQ(file_content("f"), "");
}

TEST(write_text_file, without_a_path_says_so) {
  EXPECT_EQ(write_text_file("", "abc", false).view(), "no filename specified");
}

TEST(write_text_file, that_fails_gives_the_description_and_the_number_of_the_error) {
  const temporary_folder folder;
  EXPECT_EQ(write_text_file("missing/f", "abc", false).view(), "No such file or directory(#2)");
  EXPECT_EQ(write_text_file(".", "abc", false).view(), "Is a directory(#21)");
}

TEST(write_text_file, writes_nul_bytes) {
  const temporary_folder folder;
  EXPECT_TRUE(write_text_file("f", "a\0b\0"sv, false).is_null());
  EXPECT_EQ(file_content("f"), "a\0b\0"sv);
}

TEST(write_text_file, that_names_a_pipe_fails_and_does_not_wait) {
  const temporary_folder folder;
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  EXPECT_EQ(write_text_file("pipe", "abc", false).view(), "Invalid argument(#22)");
  EXPECT_EQ(write_text_file("pipe", std::string(1 << 20, 'x'), false).view(), "Resource temporarily unavailable(#11)");
}

TEST(write_text_file, waits_for_the_lock_of_another_process) {
  const temporary_folder folder;
  write_file("f", "held");
  EXPECT_TRUE(waits_for_lock(
      "f", [] { EXPECT_TRUE(write_text_file("f", "new", true).is_null()); },
      [] {
        if (file_content("f") != "held") _exit(3);
      }));
  EXPECT_EQ(file_content("f"), "new");
}

// --- time, removal, descriptors, locks ---

TEST(make_whole_file, makes_the_file_with_mode_666_less_the_process_mask) {
  const temporary_folder folder;
  const mode_t mask = umask(2);
  EXPECT_EQ(make_whole_file("f", "abc"), file_made);
  umask(mask);
  EXPECT_EQ(file_content("f"), "abc");
  EXPECT_EQ(std::filesystem::status("f").permissions(), static_cast<std::filesystem::perms>(0664));
}

TEST(make_whole_file, of_nothing_makes_an_empty_file) {
  const temporary_folder folder;
  EXPECT_EQ(make_whole_file("./f", ""), file_made);
  EXPECT_EQ(file_content("f"), "");
}

TEST(make_whole_file, leaves_what_has_the_name_already) {
  const temporary_folder folder;
  write_file("f", "old");
  EXPECT_EQ(make_whole_file("f", "new"), not_without_name);
  EXPECT_EQ(file_content("f"), "old");
  std::filesystem::create_symlink("missing", "link");
  EXPECT_EQ(make_whole_file("link", "new"), not_without_name);
  EXPECT_FALSE(std::filesystem::exists("missing"));
}

TEST(make_whole_file, leaves_nothing_without_room) {
  const temporary_folder folder;
  rlimit old_limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old_limit), 0);
  const rlimit small = {2, old_limit.rlim_max};
  const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const making_result result = make_whole_file("f", "abc");
  setrlimit(RLIMIT_FSIZE, &old_limit);
  std::signal(SIGXFSZ, old_handler);
  EXPECT_EQ(result, no_room_for_file);
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST(make_whole_file, in_a_missing_directory_fails) {
  const temporary_folder folder;
  EXPECT_EQ(make_whole_file("no/such/f", "abc"), not_without_name);
}

TEST(file_time, of_a_missing_file_is_0) {
  const temporary_folder folder;
  EXPECT_EQ(file_time("missing", 0), 0);
  EXPECT_EQ(file_time("missing", 1000), 0);
}

TEST(file_time, gives_the_modification_time) {
  const temporary_folder folder;
  write_file("f", "");
  const utimbuf times = {1000, 2000};
  utime("f", &times);
  EXPECT_EQ(file_time("f", 0), 2000);
}

TEST(file_time, sets_the_modification_time_and_keeps_the_access_time) {
  const temporary_folder folder;
  write_file("f", "");
  const utimbuf times = {1000, 2000};
  utime("f", &times);
  EXPECT_EQ(file_time("f", 3000), 3000);
  struct stat status {};
  ASSERT_EQ(stat("f", &status), 0);
  EXPECT_EQ(status.st_atime, 1000);
  EXPECT_EQ(status.st_mtime, 3000);
}

TEST(remove_file, removes_it) {
  const temporary_folder folder;
  write_file("f", "");
  EXPECT_TRUE(remove_file("f").is_null());
  EXPECT_EQ(file_content("f"), "(no file)");
}

TEST(remove_file, that_fails_gives_the_description_and_the_number_of_the_error) {
  const temporary_folder folder;
  EXPECT_EQ(remove_file("missing").view(), "No such file or directory(#2)");
}

TEST(remove_file, without_a_path_says_so) { EXPECT_EQ(remove_file("").view(), "no filename specified"); }

TEST(write_all, writes_through_a_full_pipe) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const std::string bytes(1 << 20, 'p');
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    _exit(write_all(ends[1], bytes) == bytes.size() ? 0 : 1);
  }
  close(ends[1]);
  std::size_t total = 0;
  char buffer[1000];
  for (ssize_t n; (n = read(ends[0], buffer, sizeof buffer)) > 0;) total += static_cast<std::size_t>(n);
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(total, bytes.size());
}

TEST(write_all, on_an_error_gives_what_was_written) { EXPECT_EQ(write_all(-1, "abc"), 0U); }

TEST(file_error, describes_the_current_error_number_and_shows_it) {
  errno = EACCES;
  EXPECT_EQ(file_error().view(), "Permission denied(#13)");
}

TEST(open_file, knows_the_size_of_a_regular_file_alone) {
  const temporary_folder folder;
  write_file("f", "abc");
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  EXPECT_EQ(open_file("f", O_RDONLY).size(), 3);
  const open_file directory(".", O_RDONLY);
  EXPECT_LT(directory.size(), 0);
  EXPECT_EQ(errno, EISDIR);
  const open_file pipe("pipe", O_RDONLY);
  EXPECT_LT(pipe.size(), 0);
  EXPECT_EQ(errno, EINVAL);
}

TEST(open_file, that_cannot_be_opened_is_below_0_and_leaves_the_error_number) {
  const temporary_folder folder;
  const open_file file("missing", O_RDONLY);
  EXPECT_LT(file, 0);
  EXPECT_EQ(errno, ENOENT);
}

TEST(lock_stream, keeps_others_out_until_unlocked) {
  const temporary_folder folder;
  std::FILE *stream = std::fopen("f", "w");
  const int other = open("f", O_RDONLY | O_CLOEXEC);
  lock_stream(stream);
  EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0);
  std::fputs("written before others may read", stream);
  unlock_stream(stream);
  EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
  EXPECT_EQ(file_content("f"), "written before others may read");
  close(other);
  std::fclose(stream);
}

TEST(make_directories, creates_every_directory_on_the_way) {
  const temporary_folder folder;
  const mode_t mask = umask(2);
  make_directories("./a/b//c/file");
  make_directories("d/file");
  umask(mask);
  EXPECT_TRUE(std::filesystem::is_directory("d"));
  EXPECT_TRUE(std::filesystem::is_directory("a/b/c"));
  EXPECT_FALSE(std::filesystem::exists("a/b/c/file"));
  EXPECT_EQ(std::filesystem::status("a/b").permissions(), static_cast<std::filesystem::perms>(0775));
}

TEST(make_directories, continues_where_directories_exist_or_cannot_exist) {
  const temporary_folder folder;
  write_file("f", "x");
  make_directories("f/a/b");
  make_directories("");
  make_directories("/");
  make_directories("file");
  EXPECT_EQ(file_content("f"), "x");
}

TEST(make_directories, of_a_path_beyond_all_limits_makes_nothing) {
  const temporary_folder folder;
  std::string path;
  while (path.size() < 1000000) path += "a/";
  make_directories(path);
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST(directory_reader, gives_every_entry_with_its_kind) {
  const temporary_folder folder;
  write_file("file", "");
  std::filesystem::create_directory("sub");
  ASSERT_EQ(symlink("nowhere", "dangling"), 0);
  ASSERT_EQ(symlink("sub", "link"), 0);
  std::set<std::pair<std::string, int>> entries;
  directory_reader reader;
  for (bool ended = open_directory(".", reader); !ended; ended = next_entry(reader)) {
    entries.emplace(reader.name.view(), reader.kind);
  }
  const std::set<std::pair<std::string, int>> expected = {{".", DT_DIR},   {"..", DT_DIR},   {"file", DT_REG},
                                                          {"dangling", 0}, {"link", DT_DIR}, {"sub", DT_DIR}};
  EXPECT_EQ(entries, expected);
}

TEST(directory_reader, of_a_missing_directory_is_at_its_end) {
  const temporary_folder folder;
  directory_reader reader;
  EXPECT_TRUE(open_directory("missing", reader));
  EXPECT_TRUE(next_entry(reader));
}

TEST(directory_reader, of_a_path_beyond_999_bytes_is_at_its_end_or_cut) {
  directory_reader reader;
  EXPECT_TRUE(open_directory("/" + std::string(2000, 'x'), reader));
  EXPECT_EQ(reader.path.size(), 999U);
}

TEST(directory_reader, can_be_opened_again) {
  const temporary_folder folder;
  directory_reader reader;
  EXPECT_FALSE(open_directory(".", reader));
  EXPECT_FALSE(open_directory(".", reader));
  close_directory(reader);
  EXPECT_TRUE(next_entry(reader));
}

TEST(directory_reader, leaves_no_descriptor_open) {
  const temporary_folder folder;
  const auto next_descriptor = [] {
    const int next = dup(STDERR_FILENO);
    close(next);
    return next;
  };
  const int before = next_descriptor();
  {
    directory_reader reader;
    EXPECT_FALSE(open_directory(".", reader));
    EXPECT_FALSE(open_directory(".", reader));
  }
  EXPECT_EQ(next_descriptor(), before);
}

}  // namespace
}  // namespace quillet
