/* A client library for databases that are not there. It writes the calls that matter into the file "calls" of the
 * current folder, a line each, with the number of the connection, and answers as its environment says:
 *
 *   STUB_FAILS    which calls fail, of init, real_connect, query, use_result and fetch_row after
 *                 the last row
 *   STUB_DIES     which of query and fetch_row after the last row end the process
 *   STUB_WAITS    whether query waits for ever
 *   STUB_ERROR    the message of the connection after a call that failed
 *   STUB_FIELDS   the number that field_count answers
 *   STUB_NAMES    the columns of a result, "a,b"; "?" for one without a description
 *   STUB_ROWS     its rows, "1,2/3,4"; "?" for a NULL
 *   STUB_FURTHER  what next_result answers: one digit for each call, "-" for below 0 and after the last one
 */
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#ifndef INIT /* as the calls show it: tells one library from another */
#define INIT "init"
#endif

enum { most_cells = 8, most_connections = 16 };

struct field {
  char *name;
};

static char connections[most_connections]; /* known by their address */
static int connection_count;
static char result;
static int next_row;
static int has_failed;

static const char *setting(const char *name) {
  const char *value = getenv(name);
  return value == NULL ? "" : value;
}

static int fails(const char *call) {
  const int failing = strstr(setting("STUB_FAILS"), call) != NULL;
  has_failed |= failing;
  return failing;
}

static void die_in(const char *call) {
  if (strstr(setting("STUB_DIES"), call) != NULL) raise(SIGKILL);
}

static void write_call(const char *format, ...) {
  FILE *file = fopen("calls", "a");
  va_list arguments;
  va_start(arguments, format);
  vfprintf(file, format, arguments);
  va_end(arguments);
  fputc('\n', file);
  fclose(file);
}

static int number(const void *connection) { return (int)((const char *)connection - connections) + 1; }
static const char *shown(const char *value) { return value == NULL ? "(null)" : value; }

/* The pieces of a setting, which they cut; how many. */
static int split(char *bytes, const char *mark, char **pieces) {
  int count = 0;
  for (char *piece = strtok(bytes, mark); piece != NULL; piece = strtok(NULL, mark)) pieces[count++] = piece;
  return count;
}

static int names(char **found) {
  static char bytes[1000];
  strncpy(bytes, setting("STUB_NAMES"), sizeof bytes - 1);
  return split(bytes, ",", found);
}

static int rows(char **found) {
  static char bytes[1000];
  strncpy(bytes, setting("STUB_ROWS"), sizeof bytes - 1);
  return split(bytes, "/", found);
}

void *mysql_init(void *connection) {
  write_call(INIT " %s", connection == NULL ? "(null)" : "of a connection");
  return fails("init") ? NULL : &connections[connection_count++];
}

int mysql_options(void *connection, int option, const void *value) {
  write_call("options %d %d %u", number(connection), option, *(const unsigned *)value);
  return 0;
}

void *mysql_real_connect(void *connection, const char *host, const char *user, const char *password,
                         const char *database, unsigned port, const char *socket, unsigned long flags) {
  write_call("real_connect %d host=%s user=%s password=%s database=%s port=%u socket=%s flags=%lu", number(connection),
             shown(host), shown(user), shown(password), shown(database), port, shown(socket), flags);
  return fails("real_connect") ? NULL : connection;
}

int mysql_query(void *connection, const char *statement) {
  write_call("query %d %s", number(connection), statement);
  die_in("query");
  while (*setting("STUB_WAITS") != '\0') pause();
  return fails("query");
}

void *mysql_use_result(void *connection) {
  write_call("use_result %d", number(connection));
  next_row = 0;
  return fails("use_result") ? NULL : &result;
}

unsigned mysql_field_count(void *connection) {
  (void)connection;
  return (unsigned)atoi(setting("STUB_FIELDS"));
}

unsigned mysql_num_fields(void *of) {
  (void)of;
  char *found[most_cells];
  return (unsigned)names(found);
}

struct field *mysql_fetch_field(void *of) {
  static int next;
  static char *found[most_cells];
  static struct field field;
  (void)of;
  const int count = names(found);
  write_call("fetch_field");
  field.name = found[next++ % count];
  return strcmp(field.name, "?") == 0 ? NULL : &field;
}

char **mysql_fetch_row(void *of) {
  static char *cells[most_cells];
  char *found[most_cells];
  (void)of;
  const int count = rows(found);
  write_call("fetch_row");
  if (next_row == count) {
    fails("fetch_row");
    die_in("fetch_row");
    return NULL;
  }
  const int cell_count = split(found[next_row++], ",", cells);
  for (int i = 0; i < cell_count; ++i) {
    if (strcmp(cells[i], "?") == 0) cells[i] = NULL;
  }
  return cells;
}

void mysql_free_result(void *of) { write_call("free_result%s", of == &result ? "" : " of another"); }

int mysql_next_result(void *connection) {
  static unsigned next;
  write_call("next_result %d", number(connection));
  const char *answers = setting("STUB_FURTHER");
  const int answer = next >= strlen(answers) || answers[next] == '-' ? -1 : answers[next++] - '0';
  has_failed |= answer > 0;
  return answer;
}

const char *mysql_error(void *connection) {
  (void)connection;
  return has_failed ? setting("STUB_ERROR") : "";
}

void mysql_close(void *connection) { write_call("close %d", number(connection)); }
