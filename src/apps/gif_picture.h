// GIF pictures, read and written by the gd graphics library.
//
// A picture has a byte for each pixel, the index of its colour in a palette of at most 256. Of a file
// with several frames the first one counts.
#pragma once

#include <gd.h>

#include <memory>
#include <string_view>

namespace quillet {

struct gd_release {
  void operator()(gdImage *picture) const { gdImageDestroy(picture); }
  void operator()(char *bytes) const { gdFree(bytes); }
};

using gif_picture = std::unique_ptr<gdImage, gd_release>;

// A file that announces more pixels than this is not read: pictures of 4096 by 4096 still are.
constexpr long largest_picture = 1L << 24;

// The picture in a file; null when there is no such regular file, when it is not a GIF, or a larger one than
// the limit. Of a file that ends early the pixels that are missing have index 0; one that ends within the
// first block of its pixels is no GIF.
[[nodiscard]] gif_picture read_gif(std::string_view path);

// The bytes of a GIF file.
class gif_file {
 public:
  explicit gif_file(gdImage &picture) : bytes_(static_cast<char *>(gdImageGifPtr(&picture, &size_))) {}
  [[nodiscard]] std::string_view view() const {
    return bytes_ == nullptr ? std::string_view() : std::string_view(bytes_.get(), static_cast<std::size_t>(size_));
  }

 private:
  int size_ = 0;
  std::unique_ptr<char, gd_release> bytes_;
};

}  // namespace quillet
