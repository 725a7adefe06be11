// Finding the boundary of a multipart body.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "core/text.h"

namespace quillet {

// Finds a mark of at least one byte in bytes that a visitor chose, as the mark may be, in time that grows
// with the bytes alone. ASCII letters of either case are the same.
class mark_finder {
 public:
  explicit mark_finder(std::string_view mark);

  [[nodiscard]] std::size_t size() const { return mark_.size(); }

  // The position of the first occurrence at or after `from`; npos when there is none.
  [[nodiscard]] std::size_t find(std::string_view source, std::size_t from) const;

  // The same, byte by byte (Knuth, Morris, Pratt: Fast pattern matching in strings, 1977).
  [[nodiscard]] std::size_t find_bytewise(std::string_view source, std::size_t from) const;

 private:
  [[nodiscard]] bool is_at(const char *bytes) const;

  text mark_;  // in lower case
  // By length of a matched front: the longest front of it that is also its end.
  std::vector<std::size_t> border_;
};

}  // namespace quillet
