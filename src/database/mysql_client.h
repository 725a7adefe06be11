// The MySQL client library. It is loaded, not linked, so that a page can be told that there is none.
#pragma once

#include <string>

namespace quillet {

// What the library's functions take and give. Connections and results are known by their address only;
// of a field's description just the first member is read.
struct mysql_connection;
struct mysql_result;
struct mysql_field {
  char *name;
};
using mysql_row = char **;  // a value for each field; null for NULL

// Its functions, named and declared as in its own header, without the leading "mysql_".
struct mysql_client {
  mysql_connection *(*init)(mysql_connection *);
  int (*options)(mysql_connection *, int option, const void *value);
  mysql_connection *(*real_connect)(mysql_connection *, const char *host, const char *user, const char *password,
                                    const char *database, unsigned port, const char *socket, unsigned long flags);
  int (*query)(mysql_connection *, const char *statement);
  mysql_result *(*use_result)(mysql_connection *);
  unsigned (*field_count)(mysql_connection *);
  unsigned (*num_fields)(mysql_result *);
  mysql_field *(*fetch_field)(mysql_result *);
  mysql_row (*fetch_row)(mysql_result *);
  void (*free_result)(mysql_result *);
  int (*next_result)(mysql_connection *);  // 0: there is one, below 0: none, above 0: it failed
  const char *(*error)(mysql_connection *);
  void (*close)(mysql_connection *);
};

// The library, loaded by the first call that succeeds. Null when there is none that has all of these
// functions; `reason` then says why, in the words of the system.
[[nodiscard]] const mysql_client *load_mysql_client(std::string &reason);

// A new connection, not connected yet; null without memory. It sends no file of this machine to the server, neither
// for a statement nor because the server asks for one.
[[nodiscard]] mysql_connection *new_connection(const mysql_client &client);

}  // namespace quillet
