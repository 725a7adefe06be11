#include "apps/gif_picture.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "core/file.h"

namespace quillet {

namespace {

struct stream_closer {
  void operator()(std::FILE *stream) const { std::fclose(stream); }
};

// Whether the picture that the file announces in its first ten bytes is one to read. No frame is larger
// than that: the library refuses one that is.
bool announces_fair_size(const open_file &file) {
  char header[10];  // "GIF89a", width, height
  if (file.read_some(header, sizeof header) != sizeof header || lseek(file, 0, SEEK_SET) != 0) return false;
  const auto number_at = [&](int at) {
    return static_cast<unsigned char>(header[at]) + 256L * static_cast<unsigned char>(header[at + 1]);
  };
  const long width = number_at(6);
  const long height = number_at(8);
  return width > 0 && height > 0 && width * height <= largest_picture;
}

}  // namespace

gif_picture read_gif(std::string_view path) {
  const open_file file(path, O_RDONLY);
  if (file.size() < 0 || !announces_fair_size(file)) return nullptr;
  const std::unique_ptr<std::FILE, stream_closer> stream(fdopen(dup(file), "rb"));
  if (stream == nullptr) return nullptr;
  // A bad picture has its answer; the library would say more on the standard error stream.
  gdSetErrorMethod([](int, const char *, va_list) {});
  return gif_picture(gdImageCreateFromGif(stream.get()));
}

}  // namespace quillet
