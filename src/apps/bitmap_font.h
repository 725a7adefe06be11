// Bitmap fonts: glyphs that are one below the other in a GIF picture.
//
// Three lines describe a font:
//
//     fonts/small.gif          the picture
//     12<tab>4                 height of a glyph's cell, advance of the space
//      .ABCabc                 the characters, in the order of their glyphs
//
// Glyph i, counted from 0, has the rows i * height + 1 to i * height + height - 1; the row above them
// belongs to none. It is as wide as its pixels, and one more for the gap after it. The first character
// is the space: it is never drawn.
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "apps/gif_picture.h"

namespace quillet {

class bitmap_font {
 public:
  // The description must live as long as the font.
  explicit bitmap_font(std::string_view description);

  // Whether there is a picture of the glyphs.
  [[nodiscard]] bool is_loaded() const { return strip_ != nullptr; }

  // Draws a text with its upper left corner at (x, y), `advance` pixels from one character to the next; 0
  // means that each is as wide as it is. What lies outside the picture changes nothing. The font must be
  // loaded.
  void draw(std::string_view line, int x, int y, int advance, gdImage &picture);

 private:
  struct glyph {
    long long first_row;
    int width;    // 0 when there is nothing to draw
    int advance;  // to the next character
  };

  [[nodiscard]] const glyph &glyph_of(char character);
  [[nodiscard]] int measure(long long first_row) const;
  void copy(const glyph &drawn, long long x, long long y, gdImage &picture) const;

  gif_picture strip_;
  int cell_height_;
  int blank_advance_;
  std::string_view characters_;
  std::array<std::optional<glyph>, 256> known_glyphs_;  // those that were drawn, by character
};

}  // namespace quillet
