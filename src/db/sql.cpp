#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "cgi/charset.h"
#include "cgi/log.h"
#include "core/evaluator.h"
#include "core/operators.h"
#include "core/quoting.h"
#include "db/connection_string.h"
#include "db/mysql_client.h"
#include "macro/macro_library.h"
#include "table/registry.h"

namespace quillet {

namespace {

// What the server's statements and values are written in.
constexpr int database_charset = charset_koi8_r;

const mysql_client *client = nullptr;    // once a page has asked for a server
mysql_connection *connection = nullptr;  // of the innermost `server`, null outside

const char *failure_reason() { return connection == nullptr ? "not connected" : client->error(connection); }

// Writes a failure to the error log and gives its text.
text failure(const char *what, const char *reason) {
  log_message(error_log, "sql %s error: %s", what, reason);
  text message(std::string_view("[sql "));
  message.append(std::string_view(what));
  message.append(" error: ");
  message.append(std::string_view(reason));
  message.append(']');
  return message;
}

// --- server ---

// The connection of a `server` block: closed, and none left, on every way out of the block.
//
// Deliberate: blocks do not nest. After an inner one there is no connection for the rest of the outer
// one, and the outer one's own is never closed.
class connection_scope {
 public:
  connection_scope() = default;
  connection_scope(const connection_scope &) = delete;
  connection_scope &operator=(const connection_scope &) = delete;
  ~connection_scope() {
    if (connection != nullptr) client->close(connection);
    connection = nullptr;
  }
};

const char *c_string_or_null(const text &source) { return source.is_null() ? nullptr : source.c_str(); }

// Makes the connection; null, or the text of the failure.
text connect(const connection_target &to) {
  text reason;
  client = load_mysql_client(reason);
  if (client == nullptr) return failure("connect", reason.c_str());
  connection = new_connection(*client);
  if (connection == nullptr) return failure("connect", failure_reason());
  // In such a name the library would find settings: files to read, libraries to load.
  if (to.host.view().find(';') != std::string_view::npos) return failure("connect", "\";\" in the host name");
  constexpr int default_port = 3306;
  const auto port = static_cast<unsigned>(to.port == 0 ? default_port : to.port);
  if (client->real_connect(connection, c_string_or_null(to.host), c_string_or_null(to.user),
                           c_string_or_null(to.password), c_string_or_null(to.database), port, nullptr, 0) == nullptr) {
    return failure("connect", failure_reason());
  }
  return {};
}

// The result of `^macro[SERVER_ERROR;error]`. The macro evaluates its argument, and the message can quote
// what came from a visitor: a "^" in it is just a "^".
void call_server_error(std::string_view error, text &out) {
  const text escaped = replace_all("^", "^^", error);
  const std::string_view arguments[] = {escaped};
  call_macro("SERVER_ERROR", arguments, out);
}

// ^server[connection;body]
//
// The body, evaluated while there is a connection to the database server for the `sql` in it. When the
// connection fails, the output of the macro SERVER_ERROR, called with the message, and the body is not
// evaluated. `connection`: user:password@host:port/database.
//
// [sql connect error: reason]
void op_server(parameters &parameters, text &out) {
  const connection_target target = split_connection_string(evaluate(parameters[0]));
  const connection_scope scope;
  const text error = connect(target);
  if (error.is_null()) {
    evaluate(parameters[1], out);
  } else {
    call_server_error(error, out);
  }
}

// --- sql ---

struct result_deleter {
  void operator()(mysql_result *result) const { client->free_result(result); }
};
using result_pointer = std::unique_ptr<mysql_result, result_deleter>;

using cell_list = std::vector<std::string_view>;

// The size of a line with a tab after each cell.
std::size_t line_size(const cell_list &cells) {
  std::size_t size = cells.size();
  for (const std::string_view cell : cells) size += cell.size();
  return size;
}

// Writes the line, recoded for the page. A tab in a cell becomes a space, so that it does not break the columns;
// line feeds stay.
void write_line(const cell_list &cells, char *line) {
  char *end = line;
  for (const std::string_view cell : cells) {
    std::replace_copy(cell.begin(), cell.end(), end, '\t', ' ');
    end += cell.size();
    *end++ = '\t';
  }
  recode(line, static_cast<std::size_t>(end - line), database_charset, source_charset());
}

text header_line(mysql_result *result, cell_list &names) {
  for (std::string_view &name : names) {
    const mysql_field *field = client->fetch_field(result);
    name = field == nullptr ? "unknown" : field->name;
  }
  text line;
  char *const bytes = line.reserve(line_size(names));
  write_line(names, bytes);
  line.commit(line_size(names));
  return line;
}

// Reads the rows as they arrive: held back in the library first, they would take twice the memory.
std::unique_ptr<table> read_table(mysql_result *result) {
  cell_list cells(client->num_fields(result));
  auto made = std::make_unique<table_named>(header_line(result, cells));
  while (char *const *row = client->fetch_row(result)) {
    for (std::string_view &cell : cells) {
      const char *value = *row++;
      cell = value == nullptr ? std::string_view() : value;
    }
    write_line(cells, made->append_row(line_size(cells)));
  }
  return made;
}

bool has_error() { return *client->error(connection) != '\0'; }

// Reads the result of the statement, in `made` when that is a table. False when it did not arrive complete.
bool take_result(std::unique_ptr<table> &made) {
  const result_pointer result(client->use_result(connection));
  // A connection that was lost on the way has no fields any more, only an error.
  if (result == nullptr) return client->field_count(connection) == 0 && !has_error();
  made = read_table(result.get());
  return !has_error();
}

// Reads what a stored procedure sends after its first result: the connection takes no other statement
// before. False when the procedure failed there.
bool drop_further_results() {
  int status = 0;
  while ((status = client->next_result(connection)) == 0) {
    result_pointer(client->use_result(connection)).reset();
    if (has_error()) return false;
  }
  return status < 0;
}

// Sends the statement, recoded in place. Null and, when there is a result set, its table in `made`, or
// the text of the failure.
text execute(text &statement, std::unique_ptr<table> &made) {
  if (connection == nullptr) return failure("query", failure_reason());
  recode(statement, source_charset(), database_charset);
  if (client->query(connection, statement.c_str()) != 0) return failure("query", failure_reason());
  if (!take_result(made)) return failure("store query result", failure_reason());
  if (!drop_further_results()) return failure("query", failure_reason());
  return {};
}

// Deliberate: the clause is appended even after one that the statement has, and an offset without a
// count asks for no rows.
void append_limit(int count, int offset, text &statement) {
  if (count == 0 && offset == 0) return;
  statement.append(" limit ");
  statement.append(format_signed(offset));
  statement.append(',');
  statement.append(format_signed(count));
}

// ^sql[statement;count;offset]
//
// Sends the statement, evaluated in the quoting mode `sql`, to the server. Its result becomes the
// current table, with the names of its columns; a statement without one leaves the current table as it
// is. Of the results of a stored procedure only the first one counts. `count`, `offset`: at most so many
// rows, from that row on, counted from 0. Result: empty.
//
// [query "statement" [sql query error: reason]]
// [query "statement" [sql store query result error: reason]]
//
// Then there is no current table.
void op_sql(parameters &parameters, text &out) {
  const quoting_scope quoting(quoting_sql);
  text statement = evaluate_copy(parameters[0]);
  const int count = parse_int(evaluate(parameters[1]));
  const int offset = parse_int(evaluate(parameters[2]));
  append_limit(count, offset, statement);
  std::unique_ptr<table> made;
  const text error = execute(statement, made);
  if (!error.is_null()) {
    remove_current_table();
    out.append("[query \"");
    out.append(statement);
    out.append("\" ");
    out.append(error);
    out.append(']');
  } else if (made != nullptr) {
    put_table(std::move(made));
  }
}

constexpr operator_definition definitions[] = {
    {"server", op_server, 2, lazy, "^server[connection;body]",
     "Evaluates the body with a connection to a database server."},
    {"sql", op_sql, 0, lazy, "^sql[statement;count;offset]", "Runs a statement; its result becomes the current table."},
};

}  // namespace

extern const operator_module sql_operators{"db/sql.cpp", definitions};

}  // namespace quillet
