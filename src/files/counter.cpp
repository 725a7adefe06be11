#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "cgi/file_names.h"
#include "core/file.h"
#include "core/onlooker.h"
#include "core/operators.h"

namespace quillet {

namespace {

// Writes the digits at the start of the file, through interruptions and partial writes.
bool write_count(const open_file &file, std::string_view digits) {
  std::size_t written = 0;
  while (written < digits.size()) {
    const ssize_t n = pwrite(file, digits.data() + written, digits.size() - written, static_cast<off_t>(written));
    if (n > 0) {
      written += static_cast<std::size_t>(n);
    } else if (n == 0 || errno != EINTR) {
      return false;
    }
  }
  return true;
}

// Reads the count, adds 1 and writes it back under the lock, so that no other process counts in between.
// Null on success, otherwise what the file is not: "readable", and then it keeps its count, or "writable".
const char *count_one_more(const open_file &file, int &count) {
  lock_file(file);
  const text old_count = file.read_all();
  if (old_count.is_null()) return "readable";
  count = parse_int(old_count);
  if (count < INT_MAX) ++count;
  const text digits = format_signed(count, 10);
  // Deliberate: the file is not truncated; bytes after the tenth stay.
  return write_count(file, digits) ? nullptr : "writable";
}

void append_failure(const text &path, std::string_view missing, text &out) {
  const std::size_t start = out.size();
  // Deliberate: the word is spelled like this.
  for (const std::string_view part : {std::string_view("[counter: count file \""), path.view(),
                                      std::string_view("\" not "), missing, std::string_view(" or non-existant.]")}) {
    out.append(part);
  }
  tell_message(out.view().substr(start));
}

// ^counter[name]
//
// Adds 1 to the count in the file `name.count`, which is made when it is missing, and gives the new
// count. A file without a number starts at 1; a count of 2147483647 stays.
//
// [counter: count file "path" not writable or non-existant.]
// [counter: count file "path" not readable or non-existant.]
void op_counter(parameters &parameters, text &out) {
  const text path = count_file_path(resolve_file(parameters[0]));
  const open_file file(path, O_RDWR | O_CREAT);
  if (file < 0) {
    const bool permitted = access(path.c_str(), R_OK | W_OK) == 0;
    return append_failure(path, permitted ? "readable" : "writable", out);
  }
  int count = 0;
  if (const char *missing = count_one_more(file, count)) return append_failure(path, missing, out);
  out.append(format_signed(count));
}

constexpr operator_definition definitions[] = {
    {"counter", op_counter, 1, evaluated, "^counter[name]", "Adds one to a count and returns it."},
};

}  // namespace

extern const operator_module counter_operators{"files/counter.cpp", definitions};

}  // namespace quillet
