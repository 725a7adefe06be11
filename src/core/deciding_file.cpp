#include "core/deciding_file.h"

#include <cerrno>

#include "core/end.h"
#include "core/file.h"

namespace quillet {

bool is_system_failure() { return errno == EIO || errno == EMFILE || errno == ENFILE || errno == ENOMEM; }

text read_deciding_file(std::string_view path, bool drop_empty_lines, bool lock) {
  text bytes = read_text_file(path, drop_empty_lines, lock);
  if (bytes.is_null() && is_system_failure()) {
    fatal("unable to read '%s': %s", text(path).c_str(), file_error().c_str());
  }
  return bytes;
}

}  // namespace quillet
