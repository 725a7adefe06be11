#include <fcntl.h>

#include <cstring>
#include <memory>
#include <utility>

#include "cgi/file_names.h"
#include "core/file.h"
#include "core/onlooker.h"
#include "core/operators.h"
#include "table/registry.h"

namespace quillet {

namespace {

struct picture_size {
  int width = 0;
  int height = 0;
};

// Reads a file in pieces, for a scan over its bytes.
class byte_source {
 public:
  explicit byte_source(const open_file &file) : file_(file) {}

  // The next `size` bytes; false when fewer are left.
  bool read(unsigned char *bytes, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
      if (at_ == end_ && !fill()) return false;
      bytes[i] = buffer_[at_++];
    }
    return true;
  }
  // Moves past the next byte of that value; false when there is none.
  bool skip_past(unsigned char byte) {
    while (at_ < end_ || fill()) {
      const void *found = std::memchr(buffer_ + at_, byte, end_ - at_);
      at_ = found == nullptr ? end_ : static_cast<std::size_t>(static_cast<const unsigned char *>(found) - buffer_) + 1;
      if (found != nullptr) return true;
    }
    return false;
  }

 private:
  bool fill() {
    at_ = 0;
    end_ = file_.read_some(reinterpret_cast<char *>(buffer_), sizeof buffer_);
    return end_ > 0;
  }

  const open_file &file_;
  unsigned char buffer_[16 * 1024];
  std::size_t at_ = 0;
  std::size_t end_ = 0;
};

// The signature, the version and the logical screen descriptor, numbers little-endian (GIF89a
// specification, sections 17 and 18).
picture_size gif_size(byte_source &source) {
  unsigned char header[13];
  if (!source.read(header, sizeof header) || std::memcmp(header, "GIF", 3) != 0) return {};
  return {header[6] | header[7] << 8, header[8] | header[9] << 8};
}

// Markers of ITU-T T.81, table B.1.
enum jpeg_marker : unsigned char {
  marker_start = 0xFF,
  start_of_image = 0xD8,
  baseline_frame = 0xC0,
  progressive_frame = 0xC2,
  application_segment = 0xE0,
};

// Deliberate: segments are not skipped by their length and the scan continues to the end of the file, so the
// last frame header wins, be it one of a preview, or bytes in the picture's data that look like one.
picture_size jpeg_size(byte_source &source) {
  picture_size size;
  unsigned char bytes[17];
  if (!source.read(bytes, 2) || bytes[1] != start_of_image) return size;
  bool application_segment_read = false;
  while (source.skip_past(marker_start) && source.read(bytes, 1)) {
    const unsigned char marker = bytes[0];
    if (marker == baseline_frame || marker == progressive_frame) {
      // The segment's length, the precision, height, width, the number of components.
      if (source.read(bytes, 8)) size = {bytes[5] << 8 | bytes[6], bytes[3] << 8 | bytes[4]};
    } else if (marker == application_segment && !application_segment_read) {
      // Deliberate: one byte more than the usual segment has is read with it.
      application_segment_read = true;
      (void)source.read(bytes, sizeof bytes);
    }
  }
  return size;
}

// Both numbers are 0 for a file that cannot be read or is not a picture of the kind that its name says.
picture_size measure(std::string_view name) {
  if (name.empty()) return {};
  const text path = resolve_file(name);
  const open_file file(path, O_RDONLY);
  if (file < 0) tell_not_opened(path);
  if (file < 0 || file.size() < 0) return {};
  byte_source source(file);
  const std::string_view extension = cut_at_last_char(name, '.');
  if (equal_ignoring_case(extension, "GIF")) return gif_size(source);
  // Deliberate: a name that ends with ".jpeg" is not recognized.
  if (equal_ignoring_case(extension, "JPG")) return jpeg_size(source);
  return {};
}

// ^imgsize[file]
//
// Makes a table of one row current: the width and the height of the picture in pixels. Its name, which ends
// with ".gif" or ".jpg" in upper or lower case, says what it is. A file that is not such a picture, or cannot be
// read, gives 0 and 0. Result: empty.
void op_imgsize(parameters &parameters, text &) {
  remove_current_table();
  const picture_size size = measure(parameters[0]);
  text row = format_signed(size.width);
  row.append('\t');
  row.append(format_signed(size.height));
  put_table(std::make_unique<table>(std::move(row)));
}

// ^jpegsize[file]
//
// The same operator, for every kind of picture that it knows.

// ^gifsize[file]
//
// The same operator, for every kind of picture that it knows.

constexpr operator_definition definitions[] = {
    {"imgsize", op_imgsize, 1, evaluated, "^imgsize[file]", "Creates a table of the width and height of a picture."},
    {"jpegsize", op_imgsize, 1, evaluated, "^jpegsize[file]", "The same as imgsize."},
    {"gifsize", op_imgsize, 1, evaluated, "^gifsize[file]", "The same as imgsize."},
};

}  // namespace

extern const operator_module image_size_operators{"files/image_size.cpp", definitions};

}  // namespace quillet
