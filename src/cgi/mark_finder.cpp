#include "cgi/mark_finder.h"

#include <bit>
#include <cstdint>

#include "core/scan.h"

namespace quillet {

mark_finder::mark_finder(std::string_view mark) : mark_(mark), border_(mark.size()) {
  lower_in_place(mark_);
  const std::string_view lowered = mark_;
  for (std::size_t i = 1, k = 0; i < lowered.size(); ++i) {
    while (k > 0 && lowered[i] != lowered[k]) k = border_[k - 1];
    if (lowered[i] == lowered[k]) ++k;
    border_[i] = k;
  }
}

std::size_t mark_finder::find_bytewise(std::string_view source, std::size_t from) const {
  const std::string_view mark = mark_;
  std::size_t matched = 0;
  for (std::size_t i = from; i < source.size(); ++i) {
    const char c = lower_char(source[i]);
    while (matched > 0 && c != mark[matched]) matched = border_[matched - 1];
    if (c == mark[matched] && ++matched == mark.size()) return i + 1 - mark.size();
  }
  return std::string_view::npos;
}

bool mark_finder::is_at(const char *bytes) const {
  for (const char c : mark_.view()) {
    if (lower_char(*bytes++) != c) return false;
  }
  return true;
}

namespace {

// One byte of a mark, in lower case, to be found in either case: a letter has one bit more than its capital.
class caseless_byte {
 public:
  explicit caseless_byte(char lowered) : byte_(lowered), fold_(is_letter(lowered) ? '\x20' : '\0') {}

  // Bit i is set when byte i of the sixteen at `bytes` is that byte.
  [[nodiscard]] std::uint32_t mask(const char *bytes) const { return folded_block_mask(bytes, fold_, byte_); }

 private:
  char byte_;
  char fold_;
};

}  // namespace

// The first and the last byte of the mark are looked for in sixteen places at once: an upload of 10 MB takes a
// third of the time that it takes byte by byte. Where many places have both, comparing the whole mark at each
// would take too long, so that is given up for the rest once it has compared four bytes for each byte passed.
std::size_t mark_finder::find(std::string_view source, std::size_t from) const {
  const std::string_view mark = mark_;
  const caseless_byte first(mark.front());
  const caseless_byte last(mark.back());
  const std::size_t tail = mark.size() - 1;
  std::size_t spent = 0;
  std::size_t at = from;
  for (; at + tail + block_size <= source.size(); at += block_size) {
    const char *const block = source.data() + at;
    std::uint32_t places = first.mask(block) & last.mask(block + tail);
    for (; places != 0; places &= places - 1) {
      const auto place = static_cast<std::size_t>(std::countr_zero(places));
      if (is_at(block + place)) return at + place;
      spent += mark.size();
    }
    if (spent > 8 * mark.size() + 4 * (at - from)) break;
  }
  return find_bytewise(source, at);
}

}  // namespace quillet
