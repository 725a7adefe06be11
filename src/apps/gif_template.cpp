#include <fcntl.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "apps/bitmap_font.h"
#include "apps/gif_picture.h"
#include "apps/polygon.h"
#include "cgi/file_names.h"
#include "cgi/request.h"
#include "cgi/response.h"
#include "core/file.h"
#include "core/operators.h"
#include "core/text.h"
#include "macro/macro_library.h"

namespace quillet {

namespace {

// What is sent when the template cannot be used: one transparent pixel.
constexpr char fallback_picture[] =
    "\x47\x49\x46\x38\x39\x61\x01\x00\x01\x00\x80\xff\x00\xc0\xc0\xc0\x00\x00\x00\x21\xf9\x04"
    "\x01\x00\x00\x00\x00\x2c\x00\x00\x00\x00\x01\x00\x01\x00\x00\x02\x02\x44\x01\x00\x3b";
static_assert(sizeof fallback_picture - 1 == 43);

struct color {
  int red;
  int green;
  int blue;
};

// Six hexadecimal digits; what cannot be read is 0.
color read_color(std::string_view digits) {
  unsigned red = 0;
  unsigned green = 0;
  unsigned blue = 0;
  std::sscanf(text(digits).c_str(), "%2x%2x%2x", &red, &green, &blue);
  return {static_cast<int>(red), static_cast<int>(green), static_cast<int>(blue)};
}

int find_color(const color &color, gdImage &picture) {
  return gdImageColorExact(&picture, color.red, color.green, color.blue);
}

// The color's index, a new one if need be; -1 when the palette is full.
int find_or_add_color(const color &color, gdImage &picture) {
  const int found = find_color(color, picture);
  return found >= 0 ? found : gdImageColorAllocate(&picture, color.red, color.green, color.blue);
}

// Decimal numbers separated by ",", in pairs; an odd last one is ignored.
std::vector<point> read_corners(std::string_view numbers) {
  std::vector<point> corners;
  while (!numbers.empty()) {
    const int x = parse_int(next_token(numbers, ','));
    if (numbers.empty()) break;
    corners.push_back({x, parse_int(next_token(numbers, ','))});
  }
  return corners;
}

// The fields: from color, to color, corners. The color that is not there is added even when there is
// nothing to replace.
void replace_color(std::string_view fields, gdImage &picture) {
  const int from = find_color(read_color(next_token(fields, '\t')), picture);
  const int to = find_or_add_color(read_color(next_token(fields, '\t')), picture);
  if (from < 0 || to < 0) return;
  const pixel_rows pixels{picture.pixels, gdImageSX(&picture), gdImageSY(&picture)};
  replace_in_polygon(read_corners(next_token(fields, '\t')), static_cast<unsigned char>(from),
                     static_cast<unsigned char>(to), pixels);
}

// The fields: x, y, the text, in which tabs are characters like others.
void draw_text(int advance, std::string_view fields, bitmap_font &font, gdImage &picture) {
  const int x = parse_int(next_token(fields, '\t'));
  const int y = parse_int(next_token(fields, '\t'));
  font.draw(fields, x, y, advance, picture);
}

// Carries out the instructions in their order; false when one needs the font, and it is not loaded.
bool carry_out(std::string_view instructions, bitmap_font &font, gdImage &picture) {
  while (!instructions.empty()) {
    std::string_view fields = next_token(instructions, '\n');
    if (fields.empty()) continue;
    const std::string_view first = next_token(fields, '\t');
    if (first == "replace_color") {
      replace_color(fields, picture);
    } else if (font.is_loaded()) {
      draw_text(parse_int(first), fields, font, picture);
    } else {
      return false;
    }
  }
  return true;
}

// The bytes of the finished picture, or of the fallback picture.
std::string draw_picture(std::string_view template_path, std::string_view instructions,
                         std::string_view font_description) {
  bitmap_font font(font_description);
  const gif_picture picture = read_gif(resolve_file(template_path));
  std::string_view bytes(fallback_picture, sizeof fallback_picture - 1);
  if (picture == nullptr || !carry_out(instructions, font, *picture)) return std::string(bytes);
  const gif_file finished(*picture);
  if (!finished.view().empty()) bytes = finished.view();
  return std::string(bytes);
}

// ^gif_template[template;instructions]
// ^gif_template[template;instructions;file]
//
// Makes a GIF picture from a template and sends it as the whole response, or writes it to a file. The
// page must still have some text, which is not sent. Each line of the instructions is one of
//
//     advance <tab> x <tab> y <tab> text
//     replace_color <tab> from <tab> to <tab> x,y,x,y,...
//
// The macro `font` describes the font of the texts. A template that cannot be read, or a text without a
// font, gives a picture of one transparent pixel. Result: empty.
//
// [gif_template: write error]
void op_gif_template(parameters &parameters, text &out) {
  text font_description;
  call_macro("font", {}, font_description);
  if (parameters.count() < 3) {
    write_output("Content-type: image/gif\n\n");
    write_output(draw_picture(parameters[0], parameters[1], font_description));
    request.print_response = false;
    return;
  }
  // Deliberate: the file is emptied before the template is read, so a template cannot be its own output.
  const open_file file(resolve_file(parameters[2]), O_WRONLY | O_CREAT | O_TRUNC);
  const std::string picture = file < 0 ? std::string() : draw_picture(parameters[0], parameters[1], font_description);
  if (picture.empty() || write_all(file, picture) != picture.size()) {
    append_error(out, "gif_template", "write error");
  }
}

constexpr operator_definition definitions[] = {
    {"gif_template", op_gif_template, 0, evaluated,
     "^gif_template[template;instructions] ^gif_template[template;instructions;file]",
     "Draws a GIF picture from a template and sends it or writes it to a file."},
};

}  // namespace

extern const operator_module gif_template_operators{"apps/gif_template.cpp", definitions};

}  // namespace quillet
