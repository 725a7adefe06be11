#include "dev/check/walk_cells.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "core/text.h"
#include "language/number_format.h"
#include "language/number_reading.h"

namespace quillet::dev {

namespace {

// The number that the whole text is, as people read it.
std::optional<double> decimal_number(std::string_view source) {
  const std::string bytes(source);
  char *end = nullptr;
  const double number = std::strtod(bytes.c_str(), &end);
  const bool is_plain = !bytes.empty() && bytes.find_first_not_of("0123456789.-+") == std::string::npos;
  return is_plain && *end == '\0' ? std::optional(number) : std::nullopt;
}

}  // namespace

std::vector<std::string> column_names(std::string_view source) {
  std::vector<std::string> names;
  std::string_view rest = source.substr(0, source.find('\n'));
  while (!rest.empty()) names.emplace_back(next_token(rest, '\t'));
  return names;
}

std::optional<std::size_t> column_of(const known_table &from, std::string_view column) {
  if (all_digits(column)) return column.size() < 9 ? std::optional(std::stoul(std::string(column))) : std::nullopt;
  if (from.columns == nullptr) return {};
  const auto found = std::find(from.columns->begin(), from.columns->end(), column);
  if (found == from.columns->end()) return {};
  return static_cast<std::size_t>(found - from.columns->begin());
}

std::optional<std::string> find_cell(const known_table &from, std::string_view column,
                                     const std::function<bool(std::string_view)> &wanted) {
  if (from.data == nullptr || !from.is_shape_known || from.presence != table_presence::present) return {};
  const std::optional<std::size_t> index = column_of(from, column);
  if (!index) return {};
  std::string_view rows = from.data->text();
  if (from.is_named) next_token(rows, '\n');
  while (!rows.empty()) {
    std::string_view row = next_token(rows, '\n');
    for (std::size_t i = 0; i < *index; ++i) next_token(row, '\t');
    const std::string_view cell = next_token(row, '\t');
    if (wanted(cell)) return std::string(cell);
  }
  return {};
}

std::optional<std::string> misread_number(std::string_view source) {
  const std::optional<double> meant = decimal_number(source);
  const number_reading taken = read_number(source);
  if (!meant || taken.length == 0 || *meant == taken.value) return {};
  text shown;
  append_number(taken.value, "%g", shown);
  return std::string(shown.view());
}

bool has_fraction(std::string_view source) {
  const std::optional<double> number = decimal_number(source);
  return number && std::floor(*number) != *number;
}

}  // namespace quillet::dev
