// The two operators that walk the rows of a table: table and menu.
#include <algorithm>
#include <cstddef>

#include "core/end.h"
#include "core/evaluator.h"
#include "core/onlooker.h"
#include "core/operators.h"
#include "table/registry.h"

namespace quillet {

namespace {

// Walks a table that is locked meanwhile. `steps` keeps in its parameter how much of `out` is
// complete; that is what a violation of the lock leaves, followed by a message.
template <class function>
void walk(table &walked, std::string_view operator_name, text &out, const function &steps) {
  const table_lock lock(walked);
  std::size_t complete = out.size();
  try {
    steps(complete);
  } catch (const lock_violation &violation) {
    if (violation.violated != &walked) throw;  // of a walk further out
    out.truncate(complete);
    out.append("[table lock violation in ");
    out.append(operator_name);
    out.append(" macro]");
    tell_message(out.view().substr(complete));
  }
}

// Restores the current row of a table.
class current_row_scope {
 public:
  explicit current_row_scope(table &moved) : moved_(moved), saved_(moved.current()) {}
  current_row_scope(const current_row_scope &) = delete;
  current_row_scope &operator=(const current_row_scope &) = delete;
  ~current_row_scope() { moved_.set_current(saved_); }

 private:
  table &moved_;
  int saved_;
};

// A grid of that many columns for a number of rows, filled column by column.
struct grid {
  long long columns;
  long long rows;

  grid(int column_count, int row_count)
      : columns(column_count), rows((columns + row_count - 1) / std::max(columns, 1LL)) {
    constexpr long long max_cells = 20'000'000;
    if (cells() > max_cells) fatal("unable to malloc %lld bytes", cells());
  }
  [[nodiscard]] long long cells() const { return columns * rows; }
  [[nodiscard]] int table_row(long long cell) const { return static_cast<int>(cell % columns * rows + cell / columns); }
  [[nodiscard]] bool ends_row(long long cell) const { return cell % columns == columns - 1 && cell + 1 < cells(); }
};

// ^table[columns;cell;filler]
//
// The rows laid out as the inside of an HTML table of that many columns, which are filled from top to
// bottom: `cell`, which writes its own <td> and </td>, evaluated for each row, "</tr><tr>" between the
// grid's rows and, after the last row, cells with the filler ("&nbsp;"). Deliberate: the current row
// stays where the last cell left it, which can be after the last row.
//
// [table lock violation in table macro]
void op_table(parameters &parameters, text &out) {
  const expansion filler = evaluate(parameters.count() < 3 ? "&nbsp;" : parameters[2]);
  table *walked = current_table();
  if (walked == nullptr) return;
  const loop_scope loop(parameters[1]);
  walk(*walked, "table", out, [&](std::size_t &complete) {
    const int columns = parse_int(evaluate(parameters[0]));
    const grid grid(columns, walked->count());
    for (long long cell = 0; cell < grid.cells(); ++cell) {
      const int row = grid.table_row(cell);
      walked->set_current(row);
      if (row < walked->count()) {
        evaluate(parameters[1], out);
      } else {
        out.append("<td>");
        out.append(filler);
        out.append("</td>");
      }
      if (grid.ends_row(cell)) out.append("</tr><tr>");
      complete = out.size();
    }
  });
}

// ^menu[row;separator]
//
// `row` evaluated for each row of the current table, with the separator between the results; those
// that are empty are skipped. The current row is what it was before.
//
// [table lock violation in menu macro]
void op_menu(parameters &parameters, text &out) {
  const expansion separator = evaluate(parameters[1]);
  table *walked = current_table();
  if (walked == nullptr) return;
  const current_row_scope row_scope(*walked);
  const loop_scope loop(parameters[0]);
  walk(*walked, "menu", out, [&](std::size_t &complete) {
    const std::size_t start = complete;
    for (int row = 0; row < walked->count(); ++row) {
      walked->set_current(row);
      if (complete > start) out.append(separator);
      const std::size_t before = out.size();
      evaluate(parameters[0], out);
      if (out.size() == before) {
        out.truncate(complete);
      } else {
        complete = out.size();
      }
    }
  });
}

constexpr operator_definition definitions[] = {
    {"table", op_table, 0, lazy, "^table[columns;cell;filler]", "Arranges the rows as cells of an HTML table."},
    {"menu", op_menu, 0, lazy, "^menu[row;separator]", "Evaluates a text for each row."},
};

}  // namespace

extern const operator_module table_walk_operators{"table/table_walk.cpp", definitions};

}  // namespace quillet
