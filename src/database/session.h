// What a page asks of the database server.
#pragma once

#include <string>
#include <string_view>

#include "database/mysql_client.h"
#include "database/page_channel.h"

namespace quillet {

// The requests of one page. Each of them appends its answer to the channel.
class session {
 public:
  explicit session(page_channel &channel) : channel_(channel) {}

  // Makes the connection that the fields of the request describe; one that there is already is not closed.
  void connect(std::string_view fields);
  void run(const std::string &statement);
  // Closes the connection, if there is one.
  void close();

 private:
  [[nodiscard]] bool has_error() const { return *client_->error(connection_) != '\0'; }
  void fail(database_record_kind kind) { channel_.put(kind, client_->error(connection_)); }
  void put_table(mysql_result *result);
  [[nodiscard]] bool put_result();
  [[nodiscard]] bool drop_further_results();

  page_channel &channel_;
  const mysql_client *client_ = nullptr;  // once it is loaded
  mysql_connection *connection_ = nullptr;
};

}  // namespace quillet
