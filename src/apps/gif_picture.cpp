#include "apps/gif_picture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "core/text.h"

namespace quillet {

namespace {

struct stream_closer {
  void operator()(std::FILE *stream) const { std::fclose(stream); }
};
using stream = std::unique_ptr<std::FILE, stream_closer>;

stream open_regular_file(std::string_view path) {
  // Opening a pipe that nobody writes to must not wait.
  const int descriptor = open(text(path).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  struct stat status {};
  const bool regular = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
  stream opened(regular ? fdopen(descriptor, "rb") : nullptr);
  if (opened == nullptr) close(descriptor);
  return opened;
}

// Whether the picture that the file announces in its first ten bytes is one to read. No frame is larger
// than that: the library refuses one that is.
bool announces_fair_size(std::FILE *file) {
  unsigned char header[10];  // "GIF89a", width, height
  if (std::fread(header, 1, sizeof header, file) != sizeof header) return false;
  std::rewind(file);
  const long width = header[6] + 256 * header[7];
  const long height = header[8] + 256 * header[9];
  return width > 0 && height > 0 && width * height <= largest_picture;
}

}  // namespace

gif_picture read_gif(std::string_view path) {
  const stream file = open_regular_file(path);
  if (file == nullptr || !announces_fair_size(file.get())) return nullptr;
  // A bad picture has its answer; the library would say more on the standard error stream.
  gdSetErrorMethod([](int, const char *, va_list) {});
  return gif_picture(gdImageCreateFromGif(file.get()));
}

}  // namespace quillet
