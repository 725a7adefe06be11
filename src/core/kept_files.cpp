#include "core/kept_files.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <iterator>
#include <string>
#include <unordered_map>
#include <utility>

#include "core/keyed_hash.h"

namespace quillet {

namespace {

constexpr std::size_t largest_kept = 1048576;  // bytes of a file
constexpr std::size_t most_kept = 4194304;     // bytes of all of them
constexpr std::size_t most_names = 4096;

// A descriptor of a kept file; those beyond a number are none.
class kept_descriptor {
 public:
  kept_descriptor() = default;
  explicit kept_descriptor(int other) : number_(count < most ? fcntl(other, F_DUPFD_CLOEXEC, STDERR_FILENO + 1) : -1) {
    if (number_ >= 0) ++count;
  }
  kept_descriptor(kept_descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
  kept_descriptor &operator=(kept_descriptor &&other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  kept_descriptor(const kept_descriptor &) = delete;
  kept_descriptor &operator=(const kept_descriptor &) = delete;
  ~kept_descriptor() {
    if (number_ < 0) return;
    close(number_);
    --count;
  }
  operator int() const { return number_; }  // NOLINT(google-explicit-constructor)

 private:
  static constexpr int most = 256;
  static inline int count = 0;
  int number_ = -1;
};

struct kept {
  file_state state;
  std::shared_ptr<const text> bytes;
  kept_directory *directory;
  kept_descriptor descriptor;
  unsigned long names;  // of the directory, when its name was seen to mean this file

  [[nodiscard]] bool is_seen_by(int result, const struct stat &status) const {
    return result == 0 && state_of(status) == state;
  }
};

using kept_by_path = std::unordered_map<std::string, kept, keyed_hasher, std::equal_to<>>;

struct everything_kept {
  kept_by_path with_empty_lines;
  kept_by_path without_empty_lines;
  std::unordered_map<std::string, kept_directory, keyed_hasher> directories;
  std::size_t size = 0;  // bytes

  [[nodiscard]] kept_by_path &files(bool drop_empty_lines) {
    return drop_empty_lines ? without_empty_lines : with_empty_lines;
  }
  [[nodiscard]] std::size_t count() const { return with_empty_lines.size() + without_empty_lines.size(); }
};

// Made by the first process that keeps one.
everything_kept &all_kept() {
  static everything_kept all;
  return all;
}

bool is_local(int descriptor) {
  constexpr long known[] = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC,
                            F2FS_SUPER_MAGIC, TMPFS_MAGIC,     OVERLAYFS_SUPER_MAGIC};
  struct statfs system {};
  return fstatfs(descriptor, &system) == 0 &&
         std::find(std::begin(known), std::end(known), system.f_type) != std::end(known);
}

// Looks at the file: at the open one while its name is known to mean it, otherwise at the one that the path leads to.
bool is_as_it_was(kept &file, const char *path) {
  struct stat status {};
  const unsigned long names = file.descriptor < 0 ? 0 : file.directory->names();
  if (names == 0) return file.is_seen_by(stat(path, &status), status);
  if (names == file.names) return file.is_seen_by(fstat(file.descriptor, &status), status);
  if (file.is_seen_by(lstat(path, &status), status)) {
    file.names = names;
    return true;
  }
  file.descriptor = {};  // a link, whose meaning depends on other directories, or another file
  return file.is_seen_by(stat(path, &status), status);
}

}  // namespace

std::shared_ptr<const text> kept_file(std::string_view path, bool drop_empty_lines) {
  if (!keeps_files()) return nullptr;
  everything_kept &all = all_kept();
  kept_by_path &files = all.files(drop_empty_lines);
  const auto found = files.find(path);
  if (found == files.end()) return nullptr;
  kept &file = found->second;
  if (is_as_it_was(file, found->first.c_str())) return file.bytes;
  all.size -= file.bytes->size();
  files.erase(found);
  return nullptr;
}

void keep_file(std::string_view path, bool drop_empty_lines, int descriptor, const file_state &state, std::time_t seen,
               std::string_view bytes) {
  if (!keeps_files() || bytes.size() > largest_kept || !is_settled(state, seen) || !is_local(descriptor)) return;
  everything_kept &all = all_kept();
  if (all.size + bytes.size() > most_kept || all.count() >= most_names) all = {};
  kept &file = all.files(drop_empty_lines)[std::string(path)];
  all.size += bytes.size() - (file.bytes == nullptr ? 0 : file.bytes->size());
  const auto directory = all.directories.try_emplace(std::string(directory_of(path)), directory_of(path)).first;
  file = {state, std::make_shared<const text>(bytes), &directory->second, kept_descriptor(descriptor), 0};
}

}  // namespace quillet
