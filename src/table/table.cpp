#include "table/table.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "core/end.h"
#include "core/onlooker.h"
#include "core/preparation.h"
#include "core/scan.h"

namespace quillet {

namespace {

unsigned long last_numbering = 1;  // that of the tables whose columns have no names

constexpr int first_limit = 16;
constexpr int limit_step = 16;

// A table of 20,000 rows is made in a quarter of the instructions that a search for each line feed takes.
template <class use>
void for_each_line(std::string_view source, const use &use_line) {
  std::size_t start = 0;
  for_each_of<'\n'>(source, [&](std::size_t end) {
    use_line(source.substr(start, end - start));
    start = end + 1;
  });
  if (start < source.size()) use_line(source.substr(start));
}

// About how many lines a long text has, by the lines at its front; 0 for a short one.
std::size_t estimated_lines(std::string_view source) {
  constexpr std::size_t sample_size = 4096;
  if (source.size() <= sample_size) return 0;
  const auto lines = std::count(source.begin(), source.begin() + sample_size, '\n');
  return static_cast<std::size_t>(lines) * (source.size() / sample_size + 1);
}

text padded(text &&bytes) {
  if (!bytes.is_null()) bytes.pad();
  return std::move(bytes);
}

// The first line with its line feed.
std::size_t header_length(std::string_view source) {
  const std::size_t end = source.find('\n');
  return end == std::string_view::npos ? source.size() : end + 1;
}

}  // namespace

// --- bytes of added rows ---

char *byte_store::take(std::size_t size) {
  if (size > left_) {
    constexpr std::size_t smallest = 256;
    constexpr std::size_t largest = 65536;
    block_size_ = std::clamp(block_size_ * 2, smallest, largest);
    left_ = std::max(block_size_, size);
    blocks_.push_back(std::make_unique_for_overwrite<char[]>(left_ + block_size));
    free_ = blocks_.back().get();
  }
  char *const taken = free_;
  free_ += size;
  left_ -= size;
  return taken;
}

std::string_view byte_store::keep(std::string_view bytes) {
  if (bytes.empty()) return "";
  char *const kept = take(bytes.size());
  std::memcpy(kept, bytes.data(), bytes.size());
  return {kept, bytes.size()};
}

// --- table ---

table::table(text &&bytes, std::size_t rows_start)
    : object_array(first_limit, limit_step), source_(padded(std::move(bytes))) {
  const std::string_view rows = source().substr(rows_start);
  reserve(estimated_lines(rows));
  for_each_line(rows, [this](std::string_view line) { append(line); });
}

table::table(text &&bytes) : table(std::move(bytes), 0) {}

table::table(std::string_view bytes) : table(text(bytes)) {}

table::~table() = default;

std::string_view table::row(int index) const {
  if (index < 0 || index >= count()) fatal("table row index %d out of range [0..%d]", index, count() - 1);
  return items()[slot(index)];
}

std::string_view table::item(int column) {
  if (current_ < 0 || current_ >= count()) return {};
  const std::string_view row = items()[slot(current_)];
  return preparation_enabled() ? cells_.cell(row, column) : cell_of(row, column);
}

std::optional<int> table::column_number(std::string_view column) { return parse_int(column); }

std::string_view table::item(std::string_view column) {
  if (const std::optional<int> number = column_number(column)) return item(*number);
  message_ = concat({"[invalid item name ", column.empty() ? "(null)" : column, "]"});
  tell_message(message_);
  return message_;
}

void table::shift(int step) {
  if (count() == 0) return;
  current_ = static_cast<int>((static_cast<long long>(current_) + step + count()) % count());
}

bool table::locate(std::string_view column, std::string_view value) {
  if (!value.empty()) {
    for (current_ = 0; current_ < count(); ++current_) {
      if (item(column) == value) return true;
    }
  }
  current_ = 0;
  return false;
}

void table::select_by_prefix(std::string_view wanted) {
  int best = 0;
  std::size_t longest = 0;
  for (int i = 0; i < count() && !wanted.empty(); ++i) {
    const std::string_view row = items()[slot(i)];
    if (!row.starts_with(wanted.front())) continue;  // most rows, without a search for their first tab
    const std::string_view cell = cell_of(row, 0);
    if (cell.size() <= longest || !wanted.starts_with(cell)) continue;
    best = i;
    longest = cell.size();
  }
  current_ = best;
}

text table::serialise() const {
  text result;
  for (int i = 0; i < count(); ++i) {
    result.append(row(i));
    result.append('\n');
  }
  return result;
}

void table::append_row(std::string_view bytes) { append(added_.keep(bytes)); }

char *table::append_row(std::size_t size) {
  char *const bytes = added_.take(size);
  append({bytes, size});
  return bytes;
}

void table::append_lines(std::string_view lines) {
  for_each_line(added_.keep(lines), [this](std::string_view line) { append(line); });
}

void table::insert_lines(int index, std::string_view lines) {
  std::vector<std::string_view> rows;
  for_each_line(added_.keep(lines), [&rows](std::string_view line) { rows.push_back(line); });
  insert(index, std::move(rows));
}

void table::remove_rows(int index, int number) { remove(index, number); }

void table::reorder(std::span<const int> order) {
  const std::vector<std::string_view> before(items().begin(), items().end());
  for (std::size_t i = 0; i < order.size(); ++i) items()[i] = before[slot(order[i])];
}

void table::set_name(std::string_view name) { name_ = text_or_null(name); }

void table::require_unlocked() const {
  if (locked_) throw lock_violation{this};
}

// --- table_named ---

unsigned long new_numbering() { return ++last_numbering; }

table_named::table_named(text &&bytes) : table(std::move(bytes), header_length(bytes)) {
  std::string_view header = source().substr(0, source().find('\n'));
  while (!header.empty()) columns_.push_back(next_token(header, '\t'));
  set_numbering(new_numbering());
}

table_named::table_named(std::string_view bytes) : table_named(text(bytes)) {}

// The number of the first column of that name; -1 when there is none. More than a few names are found by a hash:
// 4,000 columns by name take 2 ms instead of 27.
int table_named::column_named(std::string_view name) {
  constexpr std::size_t few = 16;
  if (columns_.size() <= few || !preparation_enabled()) {
    const auto named = std::find(columns_.begin(), columns_.end(), name);
    return named == columns_.end() ? -1 : static_cast<int>(named - columns_.begin());
  }
  if (column_numbers_.empty()) {
    column_numbers_.reserve(columns_.size());
    for (const std::string_view &column : columns_) {
      column_numbers_.emplace(column, static_cast<int>(&column - columns_.data()));
    }
  }
  const auto named = column_numbers_.find(name);
  return named == column_numbers_.end() ? -1 : named->second;
}

std::optional<int> table_named::column_number(std::string_view column) {
  if (all_digits(column)) return parse_int(column);
  const int number = column.empty() ? -1 : column_named(column);
  return number < 0 ? std::nullopt : std::optional(number);
}

}  // namespace quillet
