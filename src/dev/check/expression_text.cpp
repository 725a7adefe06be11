#include "dev/check/expression_text.h"

#include <algorithm>
#include <cstring>

#include "core/text.h"

namespace quillet::dev {

namespace {

bool is_word_byte(char c) { return is_letter(c) || is_digit(c) || c == '_'; }

class expression_builder {
 public:
  expression_builder(std::string_view text, expression_text &to) : text_(text), to_(to) {}

  void literal(text_range range) {
    for (std::size_t at = range.begin; at < range.end;) {
      const std::string_view rest = text_.substr(at, range.end - at);
      std::size_t length = 1;
      if (rest.front() == '$' && rest.size() > 1 && is_word_byte(rest[1])) {
        while (length < rest.size() && is_word_byte(rest[length])) ++length;
        stand_in({at, at + length});
      } else if (rest.front() == '^' && rest.size() > 1 && (rest[1] == '^' || rest[1] == ';')) {
        length = 2;
        add(rest[1], {at, at + length});
      } else if (std::strchr(" \t\n\v\f\r", rest.front()) == nullptr) {
        add(rest.front(), {at, at + length});
      }
      at += length;
    }
  }

  // ":12:", of the first range with these bytes.
  void stand_in(text_range range) {
    const std::string_view bytes = text_.substr(range.begin, range.size());
    const auto found = std::find(seen_.begin(), seen_.end(), bytes);
    std::size_t number = static_cast<std::size_t>(found - seen_.begin());
    if (found == seen_.end()) seen_.push_back(bytes);
    add(':', range);
    do {
      add(static_cast<char>('0' + number % 10), range);
    } while ((number /= 10) > 0);
    add(':', range);
  }

 private:
  void add(char c, text_range range) {
    to_.bytes.push_back(c);
    to_.origins.push_back(range);
  }

  std::string_view text_;
  expression_text &to_;
  std::vector<std::string_view> seen_;
};

// The length of a stand-in at the front; 0 for none.
std::size_t stand_in_length(std::string_view name) {
  if (!name.starts_with(':')) return 0;
  const std::size_t end = name.find_first_not_of("0123456789", 1);
  return end != std::string_view::npos && end > 1 && name[end] == ':' ? end + 1 : 0;
}

}  // namespace

expression_text read_expression_text(std::string_view text, const template_text &parameter) {
  expression_text read;
  expression_builder builder(text, read);
  auto call = parameter.calls.begin();
  for (const text_range &literal : parameter.literals) {
    for (; call != parameter.calls.end() && call->range.begin < literal.begin; ++call) builder.stand_in(call->range);
    builder.literal(literal);
  }
  for (; call != parameter.calls.end(); ++call) builder.stand_in(call->range);
  return read;
}

bool is_stand_in(std::string_view name) { return !name.empty() && stand_in_length(name) == name.size(); }

bool holds_stand_in(std::string_view name) {
  for (std::size_t at = 0; at < name.size(); ++at) {
    if (stand_in_length(name.substr(at)) > 0) return true;
  }
  return false;
}

}  // namespace quillet::dev
