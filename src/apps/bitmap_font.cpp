#include "apps/bitmap_font.h"

#include <algorithm>

#include "cgi/file_names.h"
#include "core/text.h"

namespace quillet {

bitmap_font::bitmap_font(std::string_view description) {
  strip_ = read_gif(resolve_file(next_token(description, '\n')));
  std::string_view measures = next_token(description, '\n');
  cell_height_ = parse_int(next_token(measures, '\t'));
  blank_advance_ = parse_int(next_token(measures, '\t'));
  characters_ = next_token(description, '\n');
}

void bitmap_font::draw(std::string_view line, int x, int y, int advance, gdImage &picture) {
  long long pen = x;
  for (const char character : line) {
    const glyph &drawn = glyph_of(character);
    copy(drawn, pen, y, picture);
    pen += advance != 0 ? advance : drawn.advance;
  }
}

// A character that the font lacks is drawn as ".", or as the space when it lacks that too.
const bitmap_font::glyph &bitmap_font::glyph_of(char character) {
  std::optional<glyph> &known = known_glyphs_[static_cast<unsigned char>(character)];
  if (!known) {
    std::size_t number = characters_.find(character);
    if (number == std::string_view::npos) number = characters_.find('.');
    if (number == std::string_view::npos) number = 0;
    const long long first_row = static_cast<long long>(number) * cell_height_ + 1;
    const int width = number == 0 ? 0 : measure(first_row);
    known = glyph{first_row, width, number == 0 ? blank_advance_ : width};
  }
  return *known;
}

// The last column with a pixel, but not the first one, and two. Outside the picture all pixels are of
// index 0, so one row there represents all.
int bitmap_font::measure(long long first_row) const {
  const long long past_rows = std::min<long long>(first_row + cell_height_ - 1, gdImageSY(strip_) + 1);
  int last = 0;
  for (long long y = std::min<long long>(first_row, gdImageSY(strip_)); y < past_rows; ++y) {
    int x = gdImageSX(strip_) - 1;
    while (x > last && gdImageGetPixel(strip_.get(), x, static_cast<int>(y)) == gdImageGetTransparent(strip_)) --x;
    last = std::max(last, x);
  }
  return last == 0 ? 0 : last + 2;
}

// Copies what can be seen: the library would walk through all of the rest, too.
void bitmap_font::copy(const glyph &drawn, long long x, long long y, gdImage &picture) const {
  const long long left = std::max(0LL, -x);
  const long long top = std::max(0LL, -y);
  const long long width = std::min<long long>(drawn.width, gdImageSX(&picture) - x) - left;
  const long long height = std::min<long long>(cell_height_ - 1LL, gdImageSY(&picture) - y) - top;
  if (width <= 0 || height <= 0) return;
  const long long first_row = std::min<long long>(drawn.first_row + top, gdImageSY(strip_));
  gdImageCopy(&picture, strip_.get(), static_cast<int>(x + left), static_cast<int>(y + top), static_cast<int>(left),
              static_cast<int>(first_row), static_cast<int>(width), static_cast<int>(height));
}

}  // namespace quillet
