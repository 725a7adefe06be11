// What is known of a text before the page runs.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "dev/page/document.h"

namespace quillet::dev {

// In the text of a value: any bytes, or none.
constexpr char any_bytes = '\x01';

// A part of a value that a visitor decides on.
struct visitor_part {
  std::string source;    // "form name"; parts of one source are the same bytes
  const document *file;  // the call that inserts it
  text_range where;
  int quoting = 0;  // the mode in which it was inserted; 0 when that is not known
};

struct walk_value {
  std::string text;  // with `any_bytes` for what is not known
  std::vector<visitor_part> visitors;

  [[nodiscard]] bool is_known() const { return text.find(any_bytes) == std::string::npos; }
  [[nodiscard]] bool is(std::string_view bytes) const { return text == bytes; }
  void add_unknown() {
    if (!text.ends_with(any_bytes)) text += any_bytes;
  }
  void add_visitors(const std::vector<visitor_part> &more) {
    visitors.insert(visitors.end(), more.begin(), more.end());
  }
};

// A name for people: in quotes when it is more than a word.
[[nodiscard]] std::string shown_name(std::string_view name);

// Whether a name can be what the pattern, a text with `any_bytes`, stands for.
[[nodiscard]] bool may_be(std::string_view pattern, std::string_view name);

}  // namespace quillet::dev
