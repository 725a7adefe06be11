// A file as its author sees it: bytes, lines, and places in it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quillet::dev {

// Bytes `begin` up to `end` of some text.
struct text_range {
  std::size_t begin = 0;
  std::size_t end = 0;

  [[nodiscard]] std::size_t size() const { return end - begin; }
  bool operator==(const text_range &) const = default;
};

// A line and a column, both counted from 1; a column is one byte.
struct text_place {
  std::size_t line = 1;
  std::size_t column = 1;

  bool operator==(const text_place &) const = default;
};

class source_file {
 public:
  source_file(std::string path, std::string bytes);

  [[nodiscard]] const std::string &path() const { return path_; }
  [[nodiscard]] std::string_view bytes() const { return bytes_; }

  // An offset past the end counts as the end.
  [[nodiscard]] text_place place_of(std::size_t offset) const;
  // A place past the end of its line or of the file counts as that end.
  [[nodiscard]] std::size_t offset_of(text_place place) const;
  // The number of lines; an empty file has one.
  [[nodiscard]] std::size_t line_count() const { return line_starts_.size(); }
  // A line's bytes without its line feed and a carriage return before it; empty past the last one.
  [[nodiscard]] std::string_view line(std::size_t number) const;
  // Where a line starts; the file's size past the last one.
  [[nodiscard]] std::size_t start_of_line(std::size_t number) const;

 private:
  std::string path_;
  std::string bytes_;
  std::vector<std::size_t> line_starts_;
};

}  // namespace quillet::dev
