#include "database/session.h"

#include <charconv>
#include <cstring>
#include <memory>
#include <vector>

namespace quillet {

namespace {

// A field as the library takes it.
class field {
 public:
  // Cuts it off the front of the request's bytes.
  explicit field(std::string_view &fields) {
    database_field_size size = 0;
    if (fields.size() < sizeof size) refuse();
    std::memcpy(&size, fields.data(), sizeof size);
    fields.remove_prefix(sizeof size);
    is_null_ = size == database_null_field;
    if (is_null_) return;
    if (size > fields.size()) refuse();
    bytes_ = fields.substr(0, size);
    fields.remove_prefix(size);
  }
  [[nodiscard]] const char *c_string() const { return is_null_ ? nullptr : bytes_.c_str(); }
  [[nodiscard]] const std::string &bytes() const { return bytes_; }

 private:
  std::string bytes_;
  bool is_null_;
};

unsigned read_port(const std::string &digits) {
  unsigned port = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), port);
  return port;
}

}  // namespace

void session::connect(std::string_view fields) {
  const field host(fields);
  const field user(fields);
  const field password(fields);
  const field database(fields);
  const field port(fields);
  if (!fields.empty()) refuse();
  std::string reason;
  client_ = load_mysql_client(reason);
  if (client_ == nullptr) return channel_.put(database_record_kind::no_connection, reason);
  connection_ = new_connection(*client_);
  if (connection_ == nullptr) return channel_.put(database_record_kind::no_connection, "not connected");
  // In such a name the library would find settings: files to read, libraries to load.
  if (host.bytes().find(';') != std::string::npos) {
    return channel_.put(database_record_kind::connect_failed, "\";\" in the host name");
  }
  if (client_->real_connect(connection_, host.c_string(), user.c_string(), password.c_string(), database.c_string(),
                            read_port(port.bytes()), nullptr, 0) == nullptr) {
    return fail(database_record_kind::connect_failed);
  }
  channel_.put(database_record_kind::done, {});
}

void session::close() {
  if (connection_ != nullptr) client_->close(connection_);
  connection_ = nullptr;
  channel_.put(database_record_kind::done, {});
}

// Sends the rows as they arrive: held back in the library first, they would take memory.
void session::put_table(mysql_result *result) {
  std::vector<std::string_view> cells(client_->num_fields(result));
  for (std::string_view &name : cells) {
    const mysql_field *field = client_->fetch_field(result);
    name = field == nullptr ? "unknown" : field->name;
  }
  channel_.put_line(database_record_kind::names, cells);
  while (char *const *row = client_->fetch_row(result)) {
    for (std::string_view &cell : cells) {
      const char *value = *row++;
      cell = value == nullptr ? std::string_view() : value;
    }
    channel_.put_line(database_record_kind::row, cells);
  }
}

// Puts the result of the statement, when that is a table. False when it did not arrive complete.
bool session::put_result() {
  const auto free_result = [this](mysql_result *result) { client_->free_result(result); };
  const std::unique_ptr<mysql_result, decltype(free_result)> result(client_->use_result(connection_), free_result);
  // A connection that was lost on the way has no fields any more, only an error.
  if (result == nullptr) return client_->field_count(connection_) == 0 && !has_error();
  put_table(result.get());
  return !has_error();
}

// Reads what a stored procedure sends after its first result: the connection takes no other statement
// before. False when the procedure failed there.
bool session::drop_further_results() {
  int status = 0;
  while ((status = client_->next_result(connection_)) == 0) {
    if (mysql_result *const result = client_->use_result(connection_)) client_->free_result(result);
    if (has_error()) return false;
  }
  return status < 0;
}

void session::run(const std::string &statement) {
  if (connection_ == nullptr) refuse();
  if (client_->query(connection_, statement.c_str()) != 0) return fail(database_record_kind::query_failed);
  if (!put_result()) return fail(database_record_kind::store_failed);
  if (!drop_further_results()) return fail(database_record_kind::query_failed);
  channel_.put(database_record_kind::done, {});
}

}  // namespace quillet
