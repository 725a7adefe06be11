#include "core/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <utility>

#include "core/kept_files.h"
#include "core/onlooker.h"
#include "core/scan.h"

namespace quillet {

namespace {

constexpr std::size_t directory_name_limit = 999;

}  // namespace

// --- open files ---

open_file::open_file(std::string_view path, int flags)
    : descriptor_(open(text(path).c_str(), flags | O_CLOEXEC | O_NONBLOCK, 0666)) {}

open_file::~open_file() {
  const int error = errno;
  if (descriptor_ >= 0) close(descriptor_);
  errno = error;
}

long long open_file::size() const {
  struct stat status {};
  if (fstat(descriptor_, &status) != 0) return -1;
  if (S_ISREG(status.st_mode)) return status.st_size;
  errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  return -1;
}

std::size_t open_file::read_some(char *buffer, std::size_t size) const {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t n = read(descriptor_, buffer + done, size - done);
    if (n > 0) {
      done += static_cast<std::size_t>(n);
    } else if (n == 0 || errno != EINTR) {
      break;
    }
  }
  return done;
}

text open_file::read_all() const {
  text bytes;
  const long long file_size = size();
  if (file_size < 0) return bytes;
  const auto whole = static_cast<std::size_t>(file_size);
  bytes.reserve(whole + block_size);  // so that it can be padded where it is
  while (bytes.size() < whole) {
    errno = 0;
    const std::size_t n = read_some(bytes.data() + bytes.size(), whole - bytes.size());
    if (n == 0 && errno != 0) return {};
    if (n == 0) break;  // it has become shorter
    bytes.commit(n);
  }
  return bytes;
}

void lock_file(int descriptor) {
  while (flock(descriptor, LOCK_EX) != 0 && errno == EINTR) {
  }
}

// --- reading and writing whole files ---

namespace {

// Filters the bytes of a file for an onlooker. They do not move any more.
[[gnu::cold, gnu::noinline]] void filter_watched(std::string_view path, text &bytes, bool drop_empty_lines) {
  const text all = copy_text(bytes);
  if (all.is_null()) return;
  const std::vector<kept_piece> pieces = filter_lines_with_pieces(bytes, drop_empty_lines);
  bytes.reserve(text::inline_capacity + 1);
  current_onlooker->file_read(path, all, bytes, pieces);
}

// Reads a file that was not kept or has changed.
text read_and_keep(std::string_view path, bool drop_empty_lines) {
  const std::time_t now = std::time(nullptr);
  const open_file file(path, O_RDONLY);
  struct stat status {};
  if (file < 0 || fstat(file, &status) != 0) return {};
  text bytes = file.read_all();
  filter_lines(bytes, drop_empty_lines);
  if (!bytes.is_null()) keep_file(path, drop_empty_lines, file, state_of(status), now, bytes);
  return bytes;
}

text read_or_copy(std::string_view path, bool drop_empty_lines) {
  const std::shared_ptr<const text> kept = kept_file(path, drop_empty_lines);
  if (kept == nullptr) return read_and_keep(path, drop_empty_lines);
  text bytes;
  bytes.reserve(kept->size() + block_size);  // as for one that is read
  bytes.assign(*kept);
  return bytes;
}

}  // namespace

text read_text_file(std::string_view path, bool drop_empty_lines, bool lock) {
  if (path.empty()) return {};
  if (keeps_files() && !lock) return read_or_copy(path, drop_empty_lines);
  const open_file file(path, O_RDONLY);
  if (file < 0) {
    tell_not_opened(path);
    return {};
  }
  if (lock) lock_file(file);
  text bytes = file.read_all();
  if (is_watched()) {
    filter_watched(path, bytes, drop_empty_lines);
  } else {
    filter_lines(bytes, drop_empty_lines);
  }
  return bytes;
}

file_text view_text_file(std::string_view path, bool drop_empty_lines) {
  if (!keeps_files() || path.empty()) return file_text(read_text_file(path, drop_empty_lines, false));
  std::shared_ptr<const text> kept = kept_file(path, drop_empty_lines);
  return kept != nullptr ? file_text(std::move(kept)) : file_text(read_and_keep(path, drop_empty_lines));
}

namespace {

// The start of the first line that the filter changes; the size of the source when it changes none.
[[gnu::always_inline]] inline std::size_t first_changed_line(std::string_view source, bool drop_empty_lines) {
  std::size_t changed = source.find('\r');
  for (std::size_t hash = 0; (hash = source.find('#', hash)) < changed; ++hash) {
    if (hash == 0 || source[hash - 1] == '\n') changed = hash;
  }
  if (drop_empty_lines) {
    if (source.starts_with('\n')) return 0;
    const std::size_t end_of_line = source.substr(0, changed).find("\n\n");
    if (end_of_line != std::string_view::npos) changed = end_of_line + 1;
  }
  if (changed == std::string_view::npos) return source.size();
  return source.substr(0, changed).rfind('\n') + 1;  // none gives 0
}

// What filtering tells while it works: a line that is about to be moved from `source` to `at`, and that the one
// told last is dropped.
struct no_recorder {
  static void line(std::size_t /*at*/, std::size_t /*source*/, std::string_view /*bytes*/) {}
  static void dropped() {}
};

struct piece_recorder {
  void line(std::size_t at, std::size_t source, std::string_view bytes) {
    before_line = pieces.size();
    for (std::size_t start = 0; start < bytes.size();) {
      std::size_t end = bytes.find('\r', start);
      if (end == std::string_view::npos) end = bytes.size();
      if (end > start && source + start - at != shift()) pieces.push_back({at, source + start});
      at += end - start;
      start = end + 1;
    }
  }
  void dropped() { pieces.resize(before_line); }
  [[nodiscard]] std::size_t shift() const { return pieces.back().source - pieces.back().at; }

  std::vector<kept_piece> pieces{{0, 0}};
  std::size_t before_line = 0;
};

template <class recorder>
[[gnu::always_inline]] inline void filter_lines_telling(recorder &to, text &bytes, bool drop_empty_lines) {
  std::string_view rest = until_nul(bytes);
  const std::size_t unchanged = first_changed_line(rest, drop_empty_lines);
  char *kept = bytes.data() + unchanged;
  rest.remove_prefix(unchanged);
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    const std::size_t length = end == std::string_view::npos ? rest.size() : end + 1;
    const std::string_view line = rest.substr(0, length);
    rest.remove_prefix(length);
    char *const start = kept;
    to.line(static_cast<std::size_t>(start - bytes.data()), static_cast<std::size_t>(line.data() - bytes.data()), line);
    if (line.find('\r') == std::string_view::npos) {
      if (kept != line.data()) std::memmove(kept, line.data(), length);
      kept += length;
    } else {
      for (const char c : line) {
        if (c != '\r') *kept++ = c;
      }
    }
    // Deliberate: a line that begins with "#" is dropped from every file that is read so, a page too.
    const bool comment = kept > start && *start == '#';
    const bool empty = kept == start || *start == '\n';
    if (comment || (empty && drop_empty_lines)) {
      kept = start;
      to.dropped();
    }
  }
  const auto size = static_cast<std::size_t>(kept - bytes.data());
  if (size > 0) {
    bytes.truncate(size);
  } else if (!bytes.is_null()) {
    bytes = text("");  // a file that is there is never absent text
  }
}

}  // namespace

void filter_lines(text &bytes, bool drop_empty_lines) {
  no_recorder nobody;
  filter_lines_telling(nobody, bytes, drop_empty_lines);
}

std::vector<kept_piece> filter_lines_with_pieces(text &bytes, bool drop_empty_lines) {
  piece_recorder recorder;
  filter_lines_telling(recorder, bytes, drop_empty_lines);
  return std::move(recorder.pieces);
}

text file_error() {
  const int error = errno;
  text message(std::strerror(error));
  message.append("(#");
  message.append(format_signed(error));
  message.append(')');
  return message;
}

namespace {

// Whether there is room for a file of that size: within the process's limit, and on the disk, where it is
// set aside. Asking first keeps a file whole that would otherwise be overwritten in part.
bool reserve_room(const open_file &file, std::size_t size) {
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && size > limit.rlim_cur) {
    errno = EFBIG;
    return false;
  }
  if (size == 0 || fallocate(file, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) == 0) return true;
  if (errno != ENOSPC && errno != EDQUOT) return true;  // it cannot be asked for here
  const int error = errno;
  if (const long long old_size = file.size(); old_size >= 0) {
    static_cast<void>(resize_file(file, static_cast<std::size_t>(old_size)));  // what was set aside is given back
  }
  errno = error;
  return false;
}

}  // namespace

bool resize_file(int descriptor, std::size_t size) {
  while (ftruncate(descriptor, static_cast<off_t>(size)) != 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

text write_text_file(std::string_view path, std::string_view bytes, bool lock) {
  if (path.empty()) return text("no filename specified");
  const open_file file(path, O_RDWR | O_CREAT);
  if (file < 0) return file_error();
  if (lock) lock_file(file);
  if (!reserve_room(file, bytes.size()) || write_all(file, bytes) != bytes.size() || !resize_file(file, bytes.size())) {
    return file_error();
  }
  return {};
}

std::time_t file_time(std::string_view path, std::time_t new_time) {
  const text name(path);
  struct stat status {};
  if (stat(name.c_str(), &status) != 0) return 0;
  if (new_time == 0) return status.st_mtime;
  const utimbuf times = {status.st_atime, new_time};
  if (utime(name.c_str(), &times) != 0 || stat(name.c_str(), &status) != 0) return status.st_mtime;
  return status.st_mtime;
}

text remove_file(std::string_view path) {
  if (path.empty()) return text("no filename specified");
  if (unlink(text(path).c_str()) != 0) return file_error();
  return {};
}

std::size_t write_all(int descriptor, std::string_view bytes) {
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t n = write(descriptor, bytes.data() + written, bytes.size() - written);
    if (n > 0) {
      written += static_cast<std::size_t>(n);
    } else if (n == 0 || errno != EINTR) {
      break;
    }
  }
  return written;
}

void lock_stream(std::FILE *stream) { lock_file(fileno(stream)); }

void unlock_stream(std::FILE *stream) {
  std::fflush(stream);
  flock(fileno(stream), LOCK_UN);
}

making_result make_whole_file(std::string_view path, std::string_view bytes) {
  std::string_view directory = path;
  if (cut_at_last_char(directory, '/').data() == nullptr) directory = ".";
  const open_file file(directory.empty() ? "/" : directory, O_RDWR | O_TMPFILE);
  if (file < 0) return not_without_name;
  if (write_all(file, bytes) != bytes.size()) return no_room_for_file;
  text own_name("/proc/self/fd/");
  own_name.append(format_signed(file));
  const bool named = linkat(AT_FDCWD, own_name.c_str(), AT_FDCWD, text(path).c_str(), AT_SYMLINK_FOLLOW) == 0;
  return named ? file_made : not_without_name;
}

// --- directories ---

void make_directories(std::string_view path) {
  if (path.size() >= PATH_MAX) return;  // no file can have such a name
  for (std::size_t slash = 0; (slash = path.find('/', slash + 1)) != std::string_view::npos;) {
    mkdir(text(path.substr(0, slash)).c_str(), 0775);
  }
}

directory_reader::~directory_reader() { close_directory(*this); }

bool open_directory(std::string_view path, directory_reader &reader) {
  close_directory(reader);
  reader.path = text(path.substr(0, directory_name_limit));
  reader.handle = opendir(reader.path.c_str());
  return next_entry(reader);
}

bool next_entry(directory_reader &reader) {
  if (reader.handle == nullptr) return true;
  const dirent *found = readdir(reader.handle);
  if (found == nullptr) return true;
  reader.name = text(std::string_view(found->d_name).substr(0, directory_name_limit));
  text full_path = copy_text(reader.path);
  full_path.append('/');
  full_path.append(reader.name);
  struct stat status {};
  reader.kind = stat(full_path.c_str(), &status) == 0 ? static_cast<unsigned char>(IFTODT(status.st_mode)) : 0;
  return false;
}

void close_directory(directory_reader &reader) {
  if (reader.handle != nullptr) closedir(reader.handle);
  reader.handle = nullptr;
}

}  // namespace quillet
