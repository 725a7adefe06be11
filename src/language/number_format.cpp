#include "language/number_format.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdio>

#include "language/expression_arithmetic.h"

namespace quillet {

namespace {

// A larger width or precision counts as this one: what it adds is after the bytes that are shown.
constexpr int widest = 4096;

// The one conversion of a format.
struct conversion {
  std::string_view flags;
  int width = 0;
  int precision = -1;       // negative: none is given
  std::string_view length;  // "h" and "hh"; "l" means nothing for these numbers
  char letter = '\0';
  std::size_t size = 0;  // of the conversion in the format; 0: there is none
};

constexpr std::string_view integer_letters = "diouxX";

bool is_flag(char c) { return std::string_view("-+ #0'").find(c) != std::string_view::npos; }
bool is_integer_letter(char c) { return integer_letters.find(c) != std::string_view::npos; }
bool is_real_letter(char c) { return std::string_view("eEfFgGaA").find(c) != std::string_view::npos; }

template <typename predicate>
std::string_view take_while(std::string_view &rest, predicate belongs) {
  const auto *end = std::find_if_not(rest.begin(), rest.end(), belongs);
  const std::string_view taken = rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
  rest.remove_prefix(taken.size());
  return taken;
}

int take_size(std::string_view &rest) { return std::min(parse_int(take_while(rest, is_digit)), widest); }

// The conversion at the front of a text that begins with "%".
conversion read_conversion(std::string_view source) {
  conversion read;
  std::string_view rest = source.substr(1);
  read.flags = take_while(rest, is_flag);
  read.width = take_size(rest);
  if (rest.starts_with('.')) {
    rest.remove_prefix(1);
    read.precision = take_size(rest);
  }
  const std::string_view length = take_while(rest, [](char c) { return c == 'h' || c == 'l'; });
  const char letter = rest.empty() ? '\0' : rest.front();
  const bool is_long = length.empty() || length == "l" || (length == "ll" && is_integer_letter(letter));
  const bool is_short = (length == "h" || length == "hh") && is_integer_letter(letter);
  if ((is_long || is_short) && (is_integer_letter(letter) || is_real_letter(letter))) {
    if (is_short) read.length = length;
    read.letter = letter;
    read.size = source.size() - rest.size() + 1;
  }
  return read;
}

// The text of the conversion for the C library, with a width and a precision that it can handle.
text library_format(const conversion &wanted) {
  text format("%");
  format.append(wanted.flags);
  if (wanted.width > 0) format.append(decimal_digits(wanted.width));
  if (wanted.precision >= 0) {
    format.append('.');
    format.append(decimal_digits(wanted.precision));
  }
  format.append(wanted.length);
  format.append(wanted.letter);
  return format;
}

// The integer that represents the value in a format with one of the letters "diouxX".
int integer_for(double value, std::string_view format) {
  if (format.find_first_of("ouxX") == std::string_view::npos) return truncate_to_int(value);
  // The low 32 bits of a 64-bit integer; one beyond 64 bits has none of them set.
  const bool fits = value >= -9223372036854775808.0 && value < 9223372036854775808.0;
  return static_cast<int>(static_cast<unsigned>(fits ? static_cast<long long>(value) : LLONG_MIN));
}

void append_converted(double value, std::string_view format, const conversion &wanted, text &out) {
  char converted[longest_formatted + 1];
  const text library = library_format(wanted);
  // Deliberate: the letters of the whole format decide whether the value becomes an integer, so that
  // `Total %f` shows a whole number.
  const bool integer = format.find_first_of(integer_letters) != std::string_view::npos;
  int size = 0;
  if (is_integer_letter(wanted.letter)) {
    size = std::snprintf(converted, sizeof converted, library.c_str(), integer_for(value, format));
  } else {
    size = std::snprintf(converted, sizeof converted, library.c_str(), integer ? integer_for(value, format) : value);
  }
  out.append({converted, static_cast<std::size_t>(std::clamp(size, 0, longest_formatted))});
}

void append_formatted(double value, std::string_view format, text &out) {
  bool is_converted = false;
  std::string_view rest = format;
  while (!rest.empty()) {
    const std::size_t percent = std::min(rest.find('%'), rest.size());
    out.append(rest.substr(0, percent));
    rest.remove_prefix(percent);
    if (rest.empty()) return;
    if (rest.starts_with("%%")) {
      out.append('%');
      rest.remove_prefix(2);
      continue;
    }
    const conversion found = is_converted ? conversion{} : read_conversion(rest);
    if (found.size == 0) {
      out.append('%');
      rest.remove_prefix(1);
      continue;
    }
    append_converted(value, format, found, out);
    rest.remove_prefix(found.size);
    is_converted = true;
  }
}

}  // namespace

char conversion_letter(std::string_view format) {
  for (std::size_t percent; (percent = format.find('%')) != std::string_view::npos;) {
    format.remove_prefix(percent);
    const conversion found = read_conversion(format);
    if (found.size > 0) return found.letter;
    format.remove_prefix(format.starts_with("%%") ? 2 : 1);
  }
  return '\0';
}

std::size_t find_integer_letter(std::string_view format) {
  return is_real_letter(conversion_letter(format)) ? format.find_first_of(integer_letters) : std::string_view::npos;
}

void append_number(double value, std::string_view format, text &out) {
  if (format.empty()) {
    char digits[12];
    const char *end = std::to_chars(digits, digits + sizeof digits, truncate_to_int(value)).ptr;
    return out.append({digits, static_cast<std::size_t>(end - digits)});
  }
  const std::size_t before = out.size();
  append_formatted(value, format, out);
  if (out.size() - before > longest_formatted) out.truncate(before + longest_formatted);
}

}  // namespace quillet
