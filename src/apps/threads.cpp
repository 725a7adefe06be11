#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include "core/operators.h"
#include "table/registry.h"

namespace quillet {

namespace {

// --- hotline_cutmark_thread ---

constexpr int level_count = 19;

// How many messages of each level there are below the one that is reached, from the last message of a
// thread to the first.
class level_counters {
 public:
  void count(int level) {
    while (previous_ < level) counters_[slot(++previous_)] = 0;  // opened below a deeper reply
    ++counters_[slot(level)];
    previous_ = level;
  }
  // What the page draws at `level` of the message counted last. Its own level: "L", the last reply of its
  // parent, or "T"; a level above: "!" where the branch continues below, or "0".
  [[nodiscard]] char mark(int level) const {
    const int below = counters_[slot(level)];
    if (below == 0) return '0';
    if (level != previous_) return '!';
    return below == 1 ? 'L' : 'T';
  }
  // Appends the marks, a tab after each and after the place of each deeper level.
  void append_marks(text &row) const {
    for (int level = 0; level < level_count; ++level) {
      if (level <= previous_) row.append(mark(level));
      row.append('\t');
    }
  }

 private:
  static std::size_t slot(int level) { return static_cast<std::size_t>(level); }

  std::array<int, level_count> counters_{};
  int previous_ = level_count;
};

// The columns of the messages and m0 to m18.
text marked_header(const table &messages) {
  text header;
  for (const std::string_view column : messages.columns()) {
    header.append(column);
    header.append('\t');
  }
  for (int level = 0; level < level_count; ++level) {
    header.append('m');
    header.append(format_signed(level));
    header.append('\t');
  }
  return header;
}

// The place of the column of that name; -1 when there is none.
int column_number(const table &messages, std::string_view name) {
  const auto columns = messages.columns();
  const auto found = std::find(columns.begin(), columns.end(), name);
  return found == columns.end() ? -1 : static_cast<int>(found - columns.begin());
}

void reverse_rows(table &reversed) {
  std::vector<int> order(static_cast<std::size_t>(reversed.count()));
  std::iota(order.rbegin(), order.rend(), 0);
  reversed.reorder(order);
}

// The messages of the thread, each with its marks after the unchanged row.
std::unique_ptr<table> mark_thread(table &messages, std::string_view thread, int deep_column, int thread_column) {
  auto marked = std::make_unique<table_named>(marked_header(messages));
  level_counters counters;
  for (int i = messages.count() - 1; i >= 0; --i) {
    messages.set_current(i);
    if (messages.item(thread_column) != thread) continue;
    const int deep = std::min(parse_int(messages.item(deep_column)), level_count);
    if (deep < 1) break;  // Deliberate: a message without a depth ends the thread, those above it are left out.
    counters.count(deep - 1);
    // Deliberate: without a tab at its end, the row's last value is joined to the first mark.
    text row(messages.row(i));
    counters.append_marks(row);
    marked->append_row(row);
  }
  messages.set_current(0);
  reverse_rows(*marked);
  return marked;
}

// ^hotline_cutmark_thread[thread;messages]
//
// Makes a current table of the messages of one thread: the rows of the table `messages` whose column p0
// is `thread`, in their order, with 19 more columns, m0 to m18, for drawing the tree. The column deep says
// the depth of a message, from 1; 19 is the deepest. Mark m0 is for depth 1, and so on up to the
// message's own: there "L" for the last reply to its parent and "T" for one that others follow, before it
// "!" where a branch continues below and "0" where none does. Result: empty.
//
// [hotline_thread: no thread_id or no messages]
// [hotline_thread: no field 'deep' or 'p0' in messages]
//
// The current table is removed even with these messages.
void op_hotline_cutmark_thread(parameters &parameters, text &out) {
  const std::string_view thread = parameters[0];
  remove_current_table();
  table *messages = find_table(parameters[1]);
  if (thread.empty() || messages == nullptr) {
    return append_error(out, "hotline_thread", "no thread_id or no messages");
  }
  const int deep_column = column_number(*messages, "deep");
  const int thread_column = column_number(*messages, "p0");
  if (deep_column < 0 || thread_column < 0) {
    return append_error(out, "hotline_thread", "no field 'deep' or 'p0' in messages");
  }
  put_table(mark_thread(*messages, thread, deep_column, thread_column));
}

// --- hotline_quote ---

// How many bytes of the rest go on a line: up to the last white space that is not at the very start,
// that included, or as many as fit.
std::size_t line_break(std::string_view rest, std::size_t width) {
  for (std::size_t i = width - 1; i > 0; --i) {
    if (is_white_space(rest[i])) return i + 1;
  }
  return width;
}

void append_line(std::string_view prefix, std::string_view line, text &out) {
  out.append(prefix);
  out.append(line);
  out.append('\n');
}

// ^hotline_quote[text;prefix;width;level]
//
// The text wrapped for a reply, with the prefix before every line. A word that is longer is cut.
// Deliberate: a line is at most `width` bytes less the prefix's length times 20 - `level`, or 20 when that is
// below 1.
//
// Deliberate: empty lines are left out. Without a prefix, the text as it is.
void op_hotline_quote(parameters &parameters, text &out) {
  const std::string_view prefix = parameters[1];
  if (prefix.empty()) return out.append(parameters[0]);
  constexpr long long full_width_level = 20;
  constexpr long long least_width = 20;
  const long long taken = static_cast<long long>(prefix.size()) * (full_width_level - parse_int(parameters[3]));
  const long long room = parse_int(parameters[2]) - taken;
  const auto width = static_cast<std::size_t>(room < 1 ? least_width : room);
  for (std::string_view rest = parameters[0]; !rest.empty();) {
    std::string_view line = next_token(rest, '\n');
    while (line.size() > width) {
      const std::size_t length = line_break(line, width);
      append_line(prefix, line.substr(0, length), out);
      line.remove_prefix(length);
    }
    if (!line.empty()) append_line(prefix, line, out);
  }
}

constexpr operator_definition definitions[] = {
    {"hotline_cutmark_thread", op_hotline_cutmark_thread, 2, evaluated, "^hotline_cutmark_thread[thread;messages]",
     "Creates a table of the messages of a thread, with marks for drawing its tree."},
    {"hotline_quote", op_hotline_quote, 4, evaluated, "^hotline_quote[text;prefix;width;level]",
     "Wraps a text for a reply, each line with a prefix."},
};

}  // namespace

extern const operator_module thread_operators{"apps/threads.cpp", definitions};

}  // namespace quillet
