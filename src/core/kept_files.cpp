#include "core/kept_files.h"

#include <linux/magic.h>
#include <sys/vfs.h>

#include <algorithm>
#include <ctime>
#include <iterator>
#include <string>
#include <unordered_map>

#include "core/keyed_hash.h"
#include "core/scan.h"

namespace quillet {

namespace {

constexpr std::size_t largest_kept = 1048576;  // bytes of a file
constexpr std::size_t most_kept = 4194304;     // bytes of all of them
constexpr std::size_t most_names = 4096;

struct kept {
  file_state state;
  text bytes;
};

bool is_keeping = false;
std::unordered_map<std::string, kept, keyed_hasher> kept_files;
std::size_t kept_size = 0;

std::string name_of(std::string_view path, bool drop_empty_lines) {
  std::string name(1, drop_empty_lines ? '1' : '0');
  return name.append(path);
}

bool is_same(const timespec &left, const timespec &right) {
  return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

// Another write in the same moment would give the file the same times. Two seconds are the coarsest resolution that a
// file system has.
bool is_settled(const file_state &state, std::time_t seen) {
  constexpr std::time_t resolution = 2;
  return std::max(state.modified.tv_sec, state.changed.tv_sec) + resolution < seen;
}

bool is_local(int descriptor) {
  constexpr long known[] = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC,
                            F2FS_SUPER_MAGIC, TMPFS_MAGIC,     OVERLAYFS_SUPER_MAGIC};
  struct statfs system {};
  return fstatfs(descriptor, &system) == 0 &&
         std::find(std::begin(known), std::end(known), system.f_type) != std::end(known);
}

}  // namespace

file_state state_of(const struct stat &status) {
  return {status.st_dev, status.st_ino, status.st_size, status.st_mtim, status.st_ctim};
}

bool operator==(const file_state &left, const file_state &right) {
  return left.device == right.device && left.number == right.number && left.size == right.size &&
         is_same(left.modified, right.modified) && is_same(left.changed, right.changed);
}

void keep_files() { is_keeping = true; }

bool keeps_files() { return is_keeping; }

text kept_file(std::string_view path, bool drop_empty_lines) {
  if (!is_keeping) return {};
  const auto found = kept_files.find(name_of(path, drop_empty_lines));
  if (found == kept_files.end()) return {};
  const kept &file = found->second;
  struct stat status {};
  if (stat(found->first.c_str() + 1, &status) == 0 && state_of(status) == file.state) {
    text bytes;
    bytes.reserve(file.bytes.size() + block_size);  // as for one that is read
    bytes.assign(file.bytes);
    return bytes;
  }
  kept_size -= file.bytes.size();
  kept_files.erase(found);
  return {};
}

void keep_file(std::string_view path, bool drop_empty_lines, int descriptor, const file_state &state, std::time_t seen,
               std::string_view bytes) {
  if (!is_keeping || bytes.size() > largest_kept || !is_settled(state, seen) || !is_local(descriptor)) return;
  if (kept_size + bytes.size() > most_kept || kept_files.size() >= most_names) {
    kept_files.clear();
    kept_size = 0;
  }
  kept &file = kept_files[name_of(path, drop_empty_lines)];
  kept_size += bytes.size() - file.bytes.size();
  file = {state, text(bytes)};
}

}  // namespace quillet
