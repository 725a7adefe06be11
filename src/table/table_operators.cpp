#include <memory>
#include <utility>

#include "cgi/form.h"
#include "core/evaluator.h"
#include "core/file.h"
#include "core/operators.h"
#include "core/quoting.h"
#include "table/prepared_item.h"
#include "table/registry.h"

namespace quillet {

namespace {

// One row for each form field, its name.
std::unique_ptr<table> form_element_table() {
  auto made = std::make_unique<table>(std::string_view());
  for (const form_entry entry : form_entries()) {
    text name(entry.name);
    replace_chars(name, '\n', ' ');  // a visitor's line feed must not make two rows of one when saved
    made->append_row(name);
  }
  return made;
}

void remove_rows(table &target, const parameters &parameters) {
  const int start = parameters[1].empty() ? target.current() : parse_int(parameters[1]);
  target.remove_rows(start, parameters[2].empty() ? 1 : parse_int(parameters[2]));
}

void append_table(table &target, std::string_view name) {
  const table *source = find_table(name);
  if (source == nullptr) return;
  const int rows = source->count();  // a table may be joined to itself
  for (int i = 0; i < rows; ++i) target.append_row(source->row(i));
}

// Where the lines go that `config` inserts. Deliberate: with a keyword it does not know, before row 0.
int insert_position(const table &target, const parameters &parameters) {
  if (parameters[0] != "insert") return 0;
  return parameters.count() >= 3 ? parse_int(parameters[1]) : target.current();
}

// ^config[rows]
// ^config[formelements]
// ^config[named;header and rows]
// ^config[append;rows]
// ^config[insert;row;rows]
// ^config[insert;rows]
// ^config[join;table;]
// ^config[remove;row;number]
//
// Makes the current table from lines of tab-separated cells, or changes it. `formelements`: a row for
// each form field, its name. `named`: the first line names the columns. `append`, `insert`: adds the
// lines at the end, or before a row (without one, the current row). `join`: adds the rows of another
// table. `remove`: removes a number of rows (1) from a row on (the current row). Lines that are empty
// or begin with "#" are dropped. Result: empty.
void op_config(parameters &parameters, text &) {
  evaluate_parameters_quoted(quoting_config, parameters);
  if (current_table() == nullptr) put_table(std::make_unique<table>(std::string_view()));
  table &target = *current_table();
  const std::string_view keyword = parameters[0];
  const bool alone = parameters.count() == 1;
  if (keyword == "remove") return remove_rows(target, parameters);
  if (alone && keyword == "formelements") return put_table(form_element_table());
  if (!alone && keyword == "join") return append_table(target, parameters[1]);

  text lines(parameters.last());
  filter_lines(lines, true);
  if (alone) return put_table(std::make_unique<table>(std::move(lines)));
  if (keyword == "named") return put_table(std::make_unique<table_named>(std::move(lines)));
  if (keyword == "append") return target.append_lines(lines);
  target.insert_lines(insert_position(target, parameters), lines);
}

// ^flip[table]
//
// A new current table whose rows are the cells of that table's current row, without an empty first
// and an empty last one. The name is not evaluated. Result: empty.
void op_flip(parameters &parameters, text &) {
  auto flipped = std::make_unique<table>(std::string_view());
  if (const table *source = find_table(parameters[0]); source != nullptr && source->count() > 0) {
    std::string_view cells = source->row(source->current());
    if (cells.starts_with('\t')) cells.remove_prefix(1);
    // A cell of a match or of a database can contain line feeds: it is still one row.
    while (!cells.empty()) flipped->append_row(next_token(cells, '\t'));
  }
  put_table(std::move(flipped));
}

// ^context[name]
// ^context[name;body]
//
// Makes the name current: tables are made and read under it. With a body only while that is evaluated;
// the result is the body's.
void op_context(parameters &parameters, text &out) {
  const expansion name = evaluate(parameters[0]);
  if (parameters.count() < 2) return set_current_table_name(name);
  const table_name_scope scope(name);
  evaluate(parameters[1], out);
}

// ^empty[text if empty;text if not]
//
// The first text when there is no current table or it has no rows, otherwise the second.
void op_empty(parameters &parameters, text &out) {
  const table *current = current_table();
  evaluate(parameters[current == nullptr || current->count() == 0 ? 0 : 1], out);
}

// ^locate[column;value]
//
// Makes the first row current whose cell in that column is the value; row 0 when there is none. Result: empty.
void op_locate(parameters &parameters, text &) {
  if (table *current = current_table()) current->locate(parameters[0], parameters[1]);
}

// ^shift[step]
//
// Moves the current row by that many rows, around the end of the table. Result: empty.
void op_shift(parameters &parameters, text &) {
  if (table *current = current_table()) current->shift(parse_int(parameters[0]));
}

void append_item(table *source, std::string_view what, text &out) {
  if (source == nullptr) return;
  if (what == "current") return out.append(decimal_digits(source->current()));
  if (what == "number") return out.append(decimal_digits(source->current() + 1LL));
  if (what == "count") return out.append(decimal_digits(source->count()));
  quote(source->item(what), true, out);
}

// Deliberate: bytes 7 in the quoted cell are not turned into tabs, as they are in the other forms.
void append_neighbour(int step, std::string_view column, text &out) {
  table *current = current_table();
  if (current == nullptr) return;
  current->shift(step);
  quote(current->item(column), false, out);
  current->shift(-step);
}

// ^item[column]
// ^item[table;column]
// ^item[prev;column]
// ^item[next;column]
//
// A cell of the current row, of the current table or the one named, quoted; with `prev` and `next` of
// the row before or after it. A column is a number from 0 or, in a table whose columns have names, one
// of these. In place of a column, `current` gives the number of the current row from 0, `number` from
// 1, `count` how many rows there are.
//
// [invalid item name column]
void op_item(parameters &parameters, text &out) {
  const std::string_view what = parameters.last();
  if (parameters.count() == 1) return append_item(current_table(), what, out);
  if (parameters[0] == "prev") return append_neighbour(-1, what, out);
  if (parameters[0] == "next") return append_neighbour(1, what, out);
  append_item(find_table(parameters[0]), what, out);
}

constexpr operator_definition definitions[] = {
    {"config", op_config, 0, lazy,
     "^config[rows] ^config[formelements] ^config[named;header and rows] ^config[append;rows] ^config[insert;row;rows] "
     "^config[insert;rows] ^config[join;table;] ^config[remove;row;number]",
     "Creates or changes the current table."},
    {"flip", op_flip, 1, lazy, "^flip[table]", "Creates a table from the cells of another table's current row."},
    {"context", op_context, 0, lazy, "^context[name] ^context[name;body]",
     "Selects the current table, permanently or for a body."},
    {"empty", op_empty, 2, lazy, "^empty[text if empty;text if not]",
     "Chooses a text by whether the current table has rows."},
    {"locate", op_locate, 2, evaluated, "^locate[column;value]", "Finds a row by a cell and makes it current."},
    {"shift", op_shift, 1, evaluated, "^shift[step]", "Moves the current row."},
    {"item", op_item, 0, evaluated, "^item[column] ^item[table;column] ^item[prev;column] ^item[next;column]",
     "A cell of the current row, or a count.", pure, prepare_item},
};

}  // namespace

extern const operator_module table_operators{"table/table_operators.cpp", definitions};

}  // namespace quillet
