#include <memory>
#include <string>
#include <utility>

#include "cgi/charset.h"
#include "cgi/log.h"
#include "core/evaluator.h"
#include "core/onlooker.h"
#include "core/operators.h"
#include "core/quoting.h"
#include "db/connection_string.h"
#include "db/database_process.h"
#include "macro/macro_library.h"
#include "table/registry.h"

namespace quillet {

namespace {

// What the server's statements and values are written in.
constexpr int database_charset = charset_koi8_r;

constexpr const char *lost = "quillet-database has ended";

bool has_connection = false;  // of the innermost `server`, connected or not; false outside

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

const char *failed_call(database_record_kind kind) {
  switch (kind) {
    case database_record_kind::no_connection:
    case database_record_kind::connect_failed:
      return "connect";
    case database_record_kind::query_failed:
      return "query";
    case database_record_kind::store_failed:
      return "store query result";
    default:
      return nullptr;
  }
}

// The failure when the answer is not read to its end.
text lost_failure(const char *what) {
  has_connection = false;
  end_database_process();
  return failure(what, lost);
}

// Reads the reason in the record that ends the answer. The text of the failure; null for none. `what`: the failure when
// the answer ends in no such record.
text told_failure(database_answer &answer, const database_record &record, const char *what) {
  if (record.kind == database_record_kind::done) return {};
  const char *const failed = failed_call(record.kind);
  text reason;
  if (failed == nullptr || !answer.read(reason.reserve(record.size), record.size)) return lost_failure(what);
  reason.commit(record.size);
  return failure(failed, reason.c_str());
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
    has_connection = false;
    database_record record;
    if (!database_answer(database_request_kind::close, {}).next(record)) end_database_process();
  }
};

void append_field(std::string_view bytes, bool is_null, std::string &request) {
  const database_field_size size = is_null ? database_null_field : bytes.size();
  request.append(reinterpret_cast<const char *>(&size), sizeof size);
  request.append(bytes);
}

std::string connection_request(const connection_target &to) {
  constexpr int default_port = 3306;
  std::string request;
  for (const text *part : {&to.host, &to.user, &to.password, &to.database}) {
    append_field(*part, part->is_null(), request);
  }
  append_field(format_unsigned(static_cast<unsigned>(to.port == 0 ? default_port : to.port)), false, request);
  return request;
}

// Makes the connection; null, or the text of the failure.
text connect(const connection_target &to) {
  const text reason = start_database_process();
  if (!reason.is_null()) return failure("connect", reason.c_str());
  database_answer answer(database_request_kind::connect, connection_request(to));
  database_record record;
  if (!answer.next(record)) return lost_failure("connect");
  has_connection = record.kind != database_record_kind::no_connection;
  return told_failure(answer, record, "connect");
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
    tell_message(error);
    call_server_error(error, out);
  }
}

// --- sql ---

// Reads a line of the answer, recoded for the page. The whole of it is there, or false.
bool read_line(database_answer &answer, std::size_t size, char *line) {
  if (!answer.read(line, size)) return false;
  recode(line, size, database_charset, source_charset());
  return true;
}

// Reads the table, row by row as they arrive, up to the record that ends the answer. False when that does not come.
bool read_table(database_answer &answer, database_record &record, std::unique_ptr<table> &made) {
  text names;
  if (!read_line(answer, record.size, names.reserve(record.size))) return false;
  names.commit(record.size);
  made = std::make_unique<table_named>(std::move(names));
  while (answer.next(record)) {
    if (record.kind != database_record_kind::row) return true;
    if (!read_line(answer, record.size, made->append_row(record.size))) return false;
  }
  return false;
}

// Sends the statement, recoded in place. Null and, when there is a result set, its table in `made`, or
// the text of the failure.
text execute(text &statement, std::unique_ptr<table> &made) {
  if (!has_connection) return failure("query", "not connected");
  recode(statement, source_charset(), database_charset);
  database_answer answer(database_request_kind::statement, statement);
  database_record record;
  if (!answer.next(record)) return lost_failure("query");
  if (record.kind != database_record_kind::names) return told_failure(answer, record, "query");
  if (!read_table(answer, record, made)) return lost_failure("store query result");
  return told_failure(answer, record, "store query result");
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
    const std::size_t start = out.size();
    out.append("[query \"");
    out.append(statement);
    out.append("\" ");
    out.append(error);
    out.append(']');
    tell_message(out.view().substr(start));
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

extern const operator_module sql_operators{"db/sql.cpp", definitions, end_database_process};

}  // namespace quillet
