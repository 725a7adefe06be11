// Fuzzes a hostile database server. The first byte of an input chooses who answers a page that asks: the program
// quillet-database, whose client library finds the server's names, rows and errors in the rest of the input; or
// something in its place, whose answer the rest is, as it is in the window. The second byte chooses the page.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/evaluator.h"
#include "database/mysql_client.h"
#include "database/session.h"
#include "db/database_protocol.h"
#include "ending.h"
#include "main/modules.h"
#include "next_function.h"
#include "private_folder.h"

namespace {

using namespace quillet;

constexpr const char *pages[] = {
    "^server[u:p@h:1/d;^sql[a]^menu[^item[0]^item[1];,]^item[columns] ^item[name]^item[count]]",
    "^server[u@h/d;^sql[a]^sort[1]^config[append;x]^menu[^item[b]]^sql[b;2;1]^item[0]^sql[c]^menu[^item[a];]]",
    "^macro_new[SERVER_ERROR;<^item[0]$1>]^server[;^sql[]^server[u@h/d;^sql[a]^item[0]]^sql[b]^item[0]]^sql[c]",
};

// The input, taken piece by piece; empty at its end.
std::string_view input;

unsigned take_number() {
  if (input.empty()) return 0;
  const auto number = static_cast<unsigned char>(input.front());
  input.remove_prefix(1);
  return number;
}

// --- the client library ---

std::deque<std::string> texts;  // of the library, which the program looks at
int large_texts_left = 0;

// A text: up to the next line feed. One that begins with "**" is repeated, so that it fills more than the window.
char *take_text() {
  static char nothing[1] = "";
  if (input.empty()) return nothing;
  const std::size_t end = std::min(input.find('\n'), input.size());
  std::string &text = texts.emplace_back(until_nul(input.substr(0, end)));
  input.remove_prefix(std::min(end + 1, input.size()));
  constexpr std::size_t large = database_window_size + 10000;
  if (text.starts_with("**") && large_texts_left-- > 0) {
    while (text.size() < large) text.append(std::string(text));
  }
  return text.data();
}

constexpr unsigned most_columns = 300;
bool has_failed = false;
unsigned columns = 0;
mysql_field description;
char *cells[most_columns];

mysql_connection *const a_connection = reinterpret_cast<mysql_connection *>(&columns);
mysql_result *const a_result = reinterpret_cast<mysql_result *>(&columns);

mysql_result *use_result(mysql_connection *) {
  constexpr unsigned many = 255;
  columns = take_number();
  if (columns == many) columns = most_columns;
  return columns == 0 ? nullptr : a_result;
}

mysql_field *fetch_field(mysql_result *) {
  description.name = take_text();
  return input.starts_with('?') ? nullptr : &description;
}

mysql_row fetch_row(mysql_result *) {
  constexpr unsigned fails = 255;
  const unsigned kind = take_number();
  has_failed = kind == fails;
  if (kind == 0 || has_failed) return nullptr;
  for (unsigned i = 0; i < columns; ++i) cells[i] = input.starts_with('?') ? nullptr : take_text();
  return cells;
}

constexpr mysql_client client = {
    .init = [](mysql_connection *) { return a_connection; },
    .options = [](mysql_connection *, int, const void *) { return 0; },
    .real_connect = [](mysql_connection *, const char *, const char *, const char *, const char *, unsigned,
                       const char *, unsigned long) { return take_number() % 16 == 15 ? nullptr : a_connection; },
    .query = [](mysql_connection *, const char *) { return take_number() % 8 == 7 ? 1 : 0; },
    .use_result = use_result,
    .field_count = [](mysql_connection *) { return take_number() % 2; },
    .num_fields = [](mysql_result *) { return columns; },
    .fetch_field = fetch_field,
    .fetch_row = fetch_row,
    .free_result = [](mysql_result *) {},
    .next_result = [](mysql_connection *) { return static_cast<int>(take_number() % 3) - 1; },
    .error = [](mysql_connection *) -> const char * { return has_failed ? take_text() : ""; },
    .close = [](mysql_connection *) {},
};

// --- the program and the socket ---

bool is_hostile_program = false;
std::optional<session> asked;  // what the program keeps from request to request
bool is_loaded = false;        // the client library
int window_file = -1;
char *window = nullptr;
std::string request;              // what the page has sent
std::deque<std::string> windows;  // what it has not received yet

// Runs a request; the windows of its answer are kept until the page asks for them.
void run_request() {
  static page_channel channel;
  if (!asked) asked.emplace(channel);
  std::string bytes;
  switch (channel.receive(bytes)) {
    case database_request_kind::connect:
      asked->connect(bytes);
      break;
    case database_request_kind::statement:
      asked->run(bytes);
      break;
    default:
      asked->close();
      break;
  }
  channel.send_window();
}

// The rest of the input, in windows of a size that it says.
void answer_as_input_says() {
  const std::size_t size = std::min<std::size_t>(take_number() * 8, input.size());
  windows.emplace_back(input.substr(0, size));
  input.remove_prefix(size);
}

std::size_t copy_front(std::string &from, void *to, std::size_t size) {
  const std::size_t copied = std::min(size, from.size());
  std::memcpy(to, from.data(), copied);
  from.erase(0, copied);
  return copied;
}

std::size_t receive_window(void *number, std::size_t size) {
  if (windows.empty()) is_hostile_program ? answer_as_input_says() : run_request();
  const std::string received = std::move(windows.front());
  windows.pop_front();
  std::memcpy(window, received.data(), received.size());
  std::uint64_t filled = received.size();
  if (is_hostile_program && take_number() == 255) filled += std::uint64_t{take_number()} << (take_number() % 64);
  std::memcpy(number, &filled, std::min(size, sizeof filled));
  return std::min(size, sizeof filled);
}

}  // namespace

extern "C" {

ssize_t send(int descriptor, const void *bytes, std::size_t size, int) {
  if (descriptor != database_socket) {
    database_request sent;
    std::memcpy(&sent, bytes, sizeof sent);
    if (sent.kind != database_request_kind::more) request.assign(static_cast<const char *>(bytes), size);
  } else {
    std::uint64_t filled = 0;
    std::memcpy(&filled, bytes, sizeof filled);
    windows.emplace_back(window, filled);
  }
  return static_cast<ssize_t>(size);
}

// The program is told to go on at once.
ssize_t recv(int descriptor, void *bytes, std::size_t size, int) {
  if (descriptor != database_socket) return static_cast<ssize_t>(receive_window(bytes, size));
  if (request.empty()) {
    const database_request more{database_request_kind::more, 0};
    request.assign(reinterpret_cast<const char *>(&more), sizeof more);
  }
  return static_cast<ssize_t>(copy_front(request, bytes, size));
}

int memfd_create(const char *name, unsigned flags) noexcept {
  static auto *const real = quillet_fuzz::next_function<int(const char *, unsigned)>("memfd_create");
  window_file = real(name, flags);
  return window_file;
}

// The program runs.
pid_t vfork() noexcept {
  constexpr pid_t nobody = 2000000000;
  if (window == nullptr) {
    void *const made = mmap(nullptr, database_window_size, PROT_READ | PROT_WRITE, MAP_SHARED, window_file, 0);
    if (made == MAP_FAILED || dup2(window_file, database_window) < 0) std::abort();
    window = static_cast<char *>(made);
  }
  return nobody;
}

}  // extern "C"

namespace quillet {

const mysql_client *load_mysql_client(std::string &reason) {
  is_loaded = is_loaded || take_number() % 16 != 15;
  if (is_loaded) return &client;
  reason = take_text();
  return nullptr;
}

mysql_connection *new_connection(const mysql_client &) { return take_number() % 16 == 15 ? nullptr : a_connection; }

}  // namespace quillet

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  while (open("/dev/null", O_RDWR) <= database_window) continue;  // that one is for the program
  const std::string folder = quillet_fuzz::new_folder();
  if (chdir(folder.c_str()) != 0) std::abort();
  quillet_fuzz::throw_at_end();
  register_all_operators();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  if (size < 2) return 0;
  input = {reinterpret_cast<const char *>(data) + 2, size - 2};
  is_hostile_program = data[0] % 2 == 1;
  asked.reset();
  is_loaded = has_failed = false;
  large_texts_left = data[0] == 2 && size % 32 == 0 ? 2 : 0;  // one takes as long as a hundred other inputs
  texts.clear();
  windows.clear();
  request.clear();
  try {
    text page;
    evaluate(pages[data[1] % std::size(pages)], page);
  } catch (const quillet_fuzz::request_end &) {
  }
  forget_request();
  unlink("error_log");
  return 0;
}
