// What the names in a directory mean, for files that are kept. To follow a path down to its file costs the system three
// times what looking at an open file does. As long as a directory has not changed, nor what is mounted, its names mean
// the same files, so that those need not be followed again.
#pragma once

#include <sys/stat.h>

#include <ctime>
#include <string>
#include <string_view>

namespace quillet {

// What tells one content of a file from another, as the system says it.
struct file_state {
  dev_t device;
  ino_t number;
  off_t size;
  timespec modified;  // the content
  timespec changed;   // the content or the status; nobody can set it
};
[[nodiscard]] file_state state_of(const struct stat &status);
[[nodiscard]] bool operator==(const file_state &left, const file_state &right);

// Whether a later change would show. Another one in the same moment would give the file the same times, and two seconds
// are the coarsest resolution that a file system has. `seen` is a time before the state was asked for.
[[nodiscard]] bool is_settled(const file_state &state, std::time_t seen);

// A directory that kept files are in, which is looked at once for each request.
class kept_directory {
 public:
  explicit kept_directory(std::string_view path) : path_(path) {}

  // To be asked before each look at a file in it: a number that is the same as long as every name in the directory
  // means the same file. 0 when that is not known, and for the first files of a request, which are cheaper to look for
  // than the directory.
  [[nodiscard]] unsigned long names();

 private:
  void look();

  std::string path_;
  file_state state_{};
  unsigned long names_ = 0;
  unsigned long mounts_ = 0;   // what was mounted then
  unsigned long request_ = 0;  // in which it was asked for last
  int asked_ = 0;              // in that request
};

// The directory of a path; that of a name alone is ".".
[[nodiscard]] std::string_view directory_of(std::string_view path);

// A new request begins: each directory is looked at again.
void look_again_at_directories();

// Until the next request nothing is known of a directory. A program that is started may move one at any moment, and the
// request that started it is to see that.
void know_no_directories();

}  // namespace quillet
