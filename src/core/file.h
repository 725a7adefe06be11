// Files read and written whole, and directories.
#pragma once

#include <dirent.h>

#include <cstddef>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "core/text.h"

namespace quillet {

// The whole file as a text, filtered by `filter_lines`, with an exclusive lock held while reading if
// `lock`. Null, with errno set, when the file cannot be opened or read or is not a regular file; there is no
// message.
[[nodiscard]] text read_text_file(std::string_view path, bool drop_empty_lines, bool lock);

// The text of a file for those who only look at it: their own, or one that the process keeps.
class file_text {
 public:
  explicit file_text(text &&own) : own_(std::move(own)) {}
  explicit file_text(std::shared_ptr<const text> kept) : kept_(std::move(kept)) {}

  operator std::string_view() const QUILLET_VIEWED {  // NOLINT(google-explicit-constructor)
    return kept_ != nullptr ? kept_->view() : own_.view();
  }

 private:
  text own_;
  std::shared_ptr<const text> kept_;
};

// `read_text_file` without a lock, for them.
[[nodiscard]] file_text view_text_file(std::string_view path, bool drop_empty_lines);

// Removes every carriage return and every line that begins with "#", its line feed too; with
// `drop_empty_lines` also the empty lines. The bytes are cut at their first NUL.
void filter_lines(text &bytes, bool drop_empty_lines);

// Of bytes that were filtered: those from `at` on, up to the next piece, were at `source` on.
struct kept_piece {
  std::size_t at;
  std::size_t source;
};

// The same, which also says what was where, in the order of the bytes.
[[nodiscard]] std::vector<kept_piece> filter_lines_with_pieces(text &bytes, bool drop_empty_lines);

// Writes the bytes to the file, which is made when it is missing (mode 0666 less the process mask) and
// cut to their number afterwards, under an exclusive lock if `lock`. Null on success, otherwise the
// error text, as by `file_error`, "no filename specified" without a path. A file keeps its content when
// there is no room for the new one.
[[nodiscard]] text write_text_file(std::string_view path, std::string_view bytes, bool lock);

// The file's modification time, 0 when it has no status; a `new_time` that is not 0 is set first, the
// access time kept.
std::time_t file_time(std::string_view path, std::time_t new_time);

// Null on success, otherwise the error text, as by `file_error`, "no filename specified" without a path.
[[nodiscard]] text remove_file(std::string_view path);

// Writes all the bytes to a file descriptor, through interruptions and partial writes; gives how many
// were written, fewer only on an error, with errno set.
std::size_t write_all(int descriptor, std::string_view bytes);

// Cuts or lengthens the open file to `size` bytes, through interruptions. False, with errno set, on failure.
[[nodiscard]] bool resize_file(int descriptor, std::size_t size);

// The system's description of the current error number, and the number: "Permission denied(#13)".
[[nodiscard]] text file_error();

// A file descriptor that closes itself; below 0, with errno set, when the file cannot be opened. No flags
// make it wait for the other end of a pipe.
class open_file {
 public:
  open_file(std::string_view path, int flags);
  open_file(const open_file &) = delete;
  open_file &operator=(const open_file &) = delete;
  ~open_file();
  operator int() const { return descriptor_; }  // NOLINT(google-explicit-constructor)

  // The size of the regular file; below 0, with errno set, for anything else.
  [[nodiscard]] long long size() const;
  // Reads at most `size` bytes, fewer at the end; through interruptions. 0 on an error, too, with errno set.
  std::size_t read_some(char *buffer, std::size_t size) const;
  // The bytes of the regular file, NUL bytes among them; null, with errno set, for anything else and when
  // reading fails.
  [[nodiscard]] text read_all() const;

 private:
  int descriptor_;
};

// An exclusive advisory lock on the whole file, waited for; closing the file lets go of it.
void lock_file(int descriptor);

// The same for an open stream, and its release.
void lock_stream(std::FILE *stream);
void unlock_stream(std::FILE *stream);

// What became of a new file.
enum making_result : int {
  file_made,
  no_room_for_file,  // or another error of writing it; nothing is left of it
  not_without_name,  // the name is taken, or the file system knows no files without a name
};

// Makes a new file (mode 0666 less the process mask) that gets its name when it is complete: nobody ever
// meets a part of it, not even when the process is killed.
[[nodiscard]] making_result make_whole_file(std::string_view path, std::string_view bytes);

// Makes the directories on the way to the file that are missing, with mode 0775 less the process mask;
// errors are ignored.
void make_directories(std::string_view path);

// Walks the entries of a directory in the order in which the system lists them.
struct directory_reader {
  unsigned char kind = 0;  // file type of the current entry (DT_DIR, ...); 0 when it has no status
  text name;               // the current entry, at most 999 bytes
  DIR *handle = nullptr;
  text path;  // at most 999 bytes

  directory_reader() = default;
  directory_reader(const directory_reader &) = delete;
  directory_reader &operator=(const directory_reader &) = delete;
  ~directory_reader();
};

// Opens the directory and reads its first entry. True at the end of the directory, or on failure.
[[nodiscard]] bool open_directory(std::string_view path, directory_reader &reader);
// Reads the next entry; true at the end, or on failure.
[[nodiscard]] bool next_entry(directory_reader &reader);
void close_directory(directory_reader &reader);

}  // namespace quillet
