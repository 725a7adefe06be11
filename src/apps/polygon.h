// Polygons in pictures of one byte a pixel: one colour inside them becomes another.
#pragma once

#include <span>

namespace quillet {

struct point {
  int x;
  int y;
};

// Pixels by row and column, each the index of its colour.
struct pixel_rows {
  unsigned char **rows;
  int width;
  int height;
};

// Every pixel `from` inside the polygon, its edges included, becomes `to`. Corners may lie anywhere; what
// lies outside the picture changes nothing. The time grows with the picture's rows and the number of
// corners, not with the size of the polygon.
void replace_in_polygon(std::span<const point> corners, unsigned char from, unsigned char to,
                        const pixel_rows &picture);

}  // namespace quillet
