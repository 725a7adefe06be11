// Fuzzes whole requests: environment, body, page, the files of the site. An input is made of sections as a page case
// is (tests/cases/README.md): "== page", "== file PATH", "== folder PATH", "== env" and "== body", whose contents
// are just bytes. It is answered as by a process that answers several requests, in a folder of its own.
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cgi/log.h"
#include "cgi/streams.h"
#include "confinement.h"
#include "core/end.h"
#include "core/evaluator.h"
#include "core/file.h"
#include "ending.h"
#include "language/expression.h"
#include "main/driver.h"
#include "main/modules.h"
#include "private_folder.h"

namespace {

using namespace quillet;

using quillet_fuzz::request_end;

// --- what a request may cost ---

// A page may rightly run until time ends. Calls of operators are counted, whose number ends the request; prepared ones
// only where they can repeat something. What repeats a text counts more.
constexpr int most_calls = 2000;
constexpr int cost_of_loop = 100;
constexpr double most_passes = 100;
constexpr std::string_view loops[] = {"for", "while", "menu", "sort", "match", "form", "find", "download"};
constexpr std::size_t most_operators = 256;

int calls_left = 0;
struct {
  operator_handler handler;
  int cost;
} counted[most_operators];

template <std::size_t number>
void op_counted(parameters &parameters, text &out) {
  if ((calls_left -= counted[number].cost) < 0) throw request_end{};
  counted[number].handler(parameters, out);
}

operator_handler real_for = nullptr;

void op_for_bounded(parameters &parameters, text &out) {
  for (const int evaluated_once : {0, 1, 2, 4}) parameters.evaluate_in_place(evaluated_once);
  double from = 0;
  double to = 0;
  text ignored;
  const bool is_known = compute_expression("for from", parameters[1], from, ignored) &&
                        compute_expression("for to", parameters[2], to, ignored);
  if (is_known && to - from > most_passes) throw request_end{};
  real_for(parameters, out);
}

template <std::size_t... number>
void count_calls(std::index_sequence<number...>) {
  constexpr operator_handler counting[] = {op_counted<number>...};
  std::size_t next = 0;
  for (const operator_entry &registered : registered_operators()) {
    if (next == most_operators) std::abort();
    // The registry keeps its entries in memory that may be written; nobody else has a reason to.
    auto &entry = const_cast<operator_entry &>(registered);
    const bool is_loop = std::find(std::begin(loops), std::end(loops), entry.name) != std::end(loops);
    counted[next] = {entry.handler, is_loop ? cost_of_loop : 1};
    if (entry.name == "for") real_for = std::exchange(counted[next].handler, op_for_bounded);
    if (entry.name == "macro") entry.prepare = nullptr;
    entry.handler = counting[next++];
  }
}

// --- the request ---

std::string folder;
std::string_view body;
std::string response;

void replace_root(std::string &bytes) {
  constexpr std::string_view root = "@ROOT@";
  for (std::size_t at = 0; (at = bytes.find(root, at)) != std::string::npos;) bytes.replace(at, root.size(), folder);
}

struct section {
  std::string name;
  std::string argument;
  std::string content;
};

std::vector<section> split_sections(std::string_view input) {
  std::vector<section> sections;
  constexpr std::string_view mark = "== ";
  while (input.starts_with(mark)) {
    std::string_view heading = input.substr(mark.size(), input.find('\n') - mark.size());
    input.remove_prefix(std::min(mark.size() + heading.size() + 1, input.size()));
    const std::size_t end = input.starts_with(mark) ? 0 : input.find("\n== ");
    section &made = sections.emplace_back();
    made.argument = cut_at_char(heading, ' ');
    made.name = heading;
    made.content = input.substr(0, end);
    replace_root(made.content);
    input = end == std::string_view::npos ? std::string_view() : input.substr(end == 0 ? 0 : end + 1);
  }
  return sections;
}

// The variables of a request; those of the input come last and count.
class request_environment {
 public:
  explicit request_environment(const std::vector<section> &sections) {
    std::string page = "www/page.html";
    for (const section &each : sections) {
      if (each.name == "page" && !each.argument.empty()) page = each.argument;
    }
    lines_ = {"REQUEST_METHOD=GET",
              "REQUEST_URI=/page.html",
              "PATH_TRANSLATED=" + folder + '/' + page,
              "DOCUMENT_ROOT=" + folder + "/www",
              "SCRIPT_NAME=/cgi-bin/quillet",
              "REMOTE_ADDR=127.0.0.1",
              "SERVER_NAME=localhost",
              "SERVER_PORT=80",
              "TZ=UTC",
              "CONTENT_LENGTH=" + std::to_string(body.size())};
    for (const section &each : sections) {
      if (each.name == "env") add_lines(each.content);
    }
    for (std::string &line : lines_) variables_.push_back(line.data());
    variables_.push_back(nullptr);
    environ = variables_.data();
  }
  request_environment(const request_environment &) = delete;
  request_environment &operator=(const request_environment &) = delete;
  ~request_environment() { environ = before_; }

 private:
  void add_lines(std::string_view rest) {
    while (!rest.empty()) {
      const std::string_view line = next_token(rest, '\n');
      const std::string_view name = line.substr(0, line.find('=') + 1);
      if (name.empty()) continue;
      std::erase_if(lines_, [name](const std::string &known) { return known.starts_with(name); });
      lines_.emplace_back(line);
    }
  }

  char **before_ = environ;
  std::vector<std::string> lines_;
  std::vector<char *> variables_;
};

void make_files(const std::vector<section> &sections) {
  for (const section &each : sections) {
    const bool is_page = each.name == "page";
    const std::string path = folder + '/' + (is_page && each.argument.empty() ? "www/page.html" : each.argument);
    if (each.name == "folder") make_directories(path + '/');
    if (!is_page && each.name != "file") continue;
    make_directories(path);
    static_cast<void>(write_text_file(path, each.content, false));
  }
}

int answer() {
  try {
    return answer_request();
  } catch (const request_end &) {
    return exit_error_page;
  }
}

std::size_t read_body(char *buffer, std::size_t size) {
  const std::string_view read = body.substr(0, size);
  body.remove_prefix(read.size());
  std::copy(read.begin(), read.end(), buffer);
  return read.size();
}

std::size_t write_response_bytes(std::string_view bytes) {
  response.append(bytes);
  return bytes.size();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  // A list of the process's own that nobody gives back: setting a variable during a request may free the present one.
  std::size_t count = 0;
  while (environ[count] != nullptr) ++count;
  environ = static_cast<char **>(
      std::memcpy(std::malloc((count + 1) * sizeof *environ), environ, (count + 1) * sizeof *environ));
  folder = quillet_fuzz::new_folder();
  quillet_fuzz::throw_at_end();
  log_last_message();
  set_streams({read_body, write_response_bytes});
  register_all_operators();
  count_calls(std::make_index_sequence<most_operators>());
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const std::vector<section> sections = split_sections({reinterpret_cast<const char *>(data), size});
  for (const char *name : {"/site", "/www"}) std::filesystem::create_directory(folder + name);
  body = {};
  for (const section &each : sections) {
    if (each.name == "body") body = each.content;
  }
  response.clear();
  calls_left = most_calls;
  {
    const quillet_fuzz::confinement confined(folder, folder + "/site");
    make_files(sections);
    const request_environment environment(sections);
    if (answer() == exit_answered && response.empty()) std::abort();
    forget_request();
  }
  for (const auto &left : std::filesystem::directory_iterator(folder)) std::filesystem::remove_all(left);
  return 0;
}
