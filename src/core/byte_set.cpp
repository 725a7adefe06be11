#include "core/byte_set.h"

#include <cctype>
#include <cstddef>

namespace quillet {

namespace {

struct byte_class {
  std::string_view name;
  int (*holds)(int);
};

constexpr byte_class classes[] = {
    {"alnum:]", std::isalnum}, {"alpha:]", std::isalpha}, {"blank:]", std::isblank}, {"cntrl:]", std::iscntrl},
    {"digit:]", std::isdigit}, {"graph:]", std::isgraph}, {"lower:]", std::islower}, {"print:]", std::isprint},
    {"punct:]", std::ispunct}, {"space:]", std::isspace}, {"upper:]", std::isupper}, {"xdigit:]", std::isxdigit},
};

unsigned char unsigned_byte(char byte) { return static_cast<unsigned char>(byte); }

// "[:", "[." or "[=".
bool begins_a_name(std::string_view rest) {
  return rest.size() > 1 && rest[0] == '[' && (rest[1] == ':' || rest[1] == '.' || rest[1] == '=');
}

// "[:digit:]" and the like.
bool take_class(std::string_view &rest, byte_set &set) {
  if (rest[1] != ':') return false;
  rest.remove_prefix(2);
  for (const byte_class &each : classes) {
    if (!rest.starts_with(each.name)) continue;
    rest.remove_prefix(each.name.size());
    for (int byte = 0; byte < 256; ++byte) {
      if (each.holds(byte) != 0) set.set(static_cast<std::size_t>(byte));
    }
    return !rest.starts_with('-') || rest.starts_with("-]");
  }
  return false;
}

// A byte or a range.
bool take_range(std::string_view &rest, byte_set &set) {
  const char begin = rest.front();
  rest.remove_prefix(1);
  char end = begin;
  if (rest.size() > 1 && rest[0] == '-' && rest[1] != ']') {
    if (begin == '-' || rest[1] == '-' || begins_a_name(rest.substr(1))) return false;
    end = rest[1];
    rest.remove_prefix(2);
    if (rest.starts_with('-') && !rest.starts_with("-]")) return false;
  }
  if (unsigned_byte(end) < unsigned_byte(begin)) return false;
  for (std::size_t byte = unsigned_byte(begin); byte <= unsigned_byte(end); ++byte) set.set(byte);
  return true;
}

}  // namespace

std::optional<byte_set> take_byte_set(std::string_view &rest) {
  byte_set set;
  const bool is_negated = rest.starts_with('^');
  if (is_negated) rest.remove_prefix(1);
  bool at_front = true;
  while (at_front || !rest.starts_with(']')) {
    if (rest.empty()) return {};
    if (!(begins_a_name(rest) ? take_class(rest, set) : take_range(rest, set))) return {};
    at_front = false;
  }
  rest.remove_prefix(1);
  return is_negated ? ~set : set;
}

}  // namespace quillet
