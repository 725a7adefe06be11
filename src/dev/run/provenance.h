// Where the bytes of texts come from: which file, and where in it.
//
// Texts are known by where their bytes are and, because memory is used again, by the bytes themselves.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/file.h"

namespace quillet::dev {

// A byte of a file that was read.
struct origin {
  int file = -1;  // by the order of reading; below 0 where it is not known
  std::size_t offset = 0;

  [[nodiscard]] bool is_known() const { return file >= 0; }
};

struct line_and_column {
  std::uint32_t line = 0;
  std::uint32_t column = 0;
};

class provenance {
 public:
  // A file and what was kept of it, which is what the program goes on with. Gives the file's number.
  int add_file(std::string_view path, std::string_view bytes, std::string_view kept,
               std::span<const kept_piece> kept_pieces);
  // A text put together of copies.
  void add_copies(std::string_view made, std::span<const std::string_view> parts);
  // A value that was made of a text: its carets, at these offsets, come from there. It may be evaluated later.
  struct caret {
    std::size_t at;
    origin from;
  };
  void add_value(std::string_view value, std::vector<caret> carets);

  // Has to be called before a text is read for calls: finds out what can be known of it.
  void learn(std::string_view source);
  // Where the byte at the front comes from. Only the address of `from` counts.
  [[nodiscard]] origin origin_of(std::string_view from) const;

  [[nodiscard]] const std::vector<std::string> &paths() const { return paths_; }
  [[nodiscard]] line_and_column line_of(const origin &from) const;

 private:
  // Bytes from `at` on, up to the next piece.
  struct piece {
    std::size_t at;
    origin from;
  };
  struct known_text {
    std::string bytes;
    std::vector<piece> pieces;
  };
  struct file_bytes {
    std::string bytes;
    std::vector<std::size_t> line_starts;
  };
  struct made_value {
    std::string bytes;
    std::vector<caret> carets;
  };

  void add_text(std::string_view bytes, std::vector<piece> pieces);
  [[nodiscard]] const known_text *find_text(const char *address, std::size_t &offset) const;
  [[nodiscard]] const known_text *find_same(const char *address, std::string_view bytes, std::size_t &offset) const;
  // The first piece that begins after the offset.
  [[nodiscard]] static std::vector<piece>::const_iterator piece_after(const known_text &in, std::size_t offset);
  [[nodiscard]] static origin origin_at(const known_text &in, std::size_t offset);
  [[nodiscard]] std::vector<caret> carets_of(std::string_view value) const;
  [[nodiscard]] std::optional<origin> search_files(std::string_view call);

  std::vector<std::string> paths_;
  std::vector<file_bytes> files_;
  std::map<std::string, int, std::less<>> last_numbers_;  // by path
  std::size_t searches_ = 0;
  std::map<std::uintptr_t, known_text> texts_;  // by the address of their first byte
  std::deque<made_value> values_;               // the latest last
};

}  // namespace quillet::dev
