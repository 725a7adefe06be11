#include "page_run.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "cgi/form.h"
#include "cgi/request.h"
#include "core/evaluator.h"
#include "core/preparation.h"
#include "core/quoting.h"
#include "core/variables.h"
#include "macro/macro_library.h"
#include "main/modules.h"
#include "table/registry.h"

namespace quillet_tests {

namespace {

using namespace quillet;

std::filesystem::path folder;
std::string folder_name;
char form_input[] = "q=one&n=7&q=two%3Cb%3E";

const std::map<std::string, std::string> page_files = {
    {"inc.html", "included <b> 'text'\n"},
    {"_rows", "name\tprice\nx\t3\n# comment\nb\t12\t<q>\n\nx\t-1\n"},
    {"_empty", ""},
    {"_m.cfg", "@m[who]\nfrom the file: $who\n@main\n^macro[m;main]\n"},
    {"_quillet.cfg", "@two[a;b]\n$b^if[$a;yes;no]\n"},
};

// The files below the folder, with their content. A log's time stamps are left out.
std::string list_files() {
  std::map<std::string, std::string> found;
  for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    std::string line;
    std::string &content = found[entry.path().lexically_relative(folder)];
    while (std::getline(file, line)) {
      const bool stamped = entry.path().filename().string().ends_with("_log") && line.starts_with('[');
      content += (stamped ? line.substr(line.find(']') + 1) : line) + "\n";
    }
  }
  std::string listed;
  for (const auto &[name, content] : found) listed += "--- " + name + "\n" + content;
  return listed;
}

void write_files() {
  for (const auto &entry : std::filesystem::directory_iterator(folder)) std::filesystem::remove_all(entry.path());
  for (const auto &[name, content] : page_files) std::ofstream(folder / name, std::ios::binary) << content;
  std::filesystem::create_directory(folder / "cache");
}

bool may_write(std::string_view page) {
  constexpr std::string_view words[] = {"save", "counter", "unlink", "cache", "log", "macro_use", "load"};
  return std::any_of(std::begin(words), std::end(words),
                     [&](std::string_view word) { return page.find(word) != std::string_view::npos; });
}

constexpr std::string_view table_names[] = {"", "t", "u", "v", "w", "match", "missing"};
constexpr std::string_view variable_names[] = {"i",       "j",   "n", "a", "b", "s", "word",
                                               "nothing", "sum", "g", "h", "k", "x"};
constexpr std::string_view macro_names[] = {"m",    "m1", "m7",   "two",      "list", "none",
                                            "down", "x",  "main", "autoexec", "b",    "12"};

// What `color` gives next, and the random numbers, belong to the process.
void settle_process() {
  text turn;
  do {
    turn.clear();
    evaluate("^color[first;second]", turn);
  } while (turn.view() != "first");
  std::srand(1);
}

// What was written to standard output since the last time.
std::string take_header_lines() {
  std::fflush(stdout);
  const off_t size = lseek(STDOUT_FILENO, 0, SEEK_CUR);
  if (size <= 0) return {};
  std::string written(static_cast<std::size_t>(size), '\0');
  if (pread(STDOUT_FILENO, written.data(), written.size(), 0) < 0) std::abort();
  if (ftruncate(STDOUT_FILENO, 0) != 0 || lseek(STDOUT_FILENO, 0, SEEK_SET) != 0) std::abort();
  return written;
}

void start_request() {
  forget_calls();
  forget_variables();
  forget_macros();
  restore_quoting_mode(quoting_html);
  for (const std::string_view name : table_names) {
    set_current_table_name(name);
    remove_current_table();
  }
  set_current_table_name({});
  static_cast<void>(take_header_lines());  // those of a page whose process was ended
  request.response_content_type = text("text/html");
  request.content_type_set = false;
  request.print_response = true;
  settle_process();
}

std::string describe_table(std::string_view name) {
  const table *found = find_table(name);
  if (found == nullptr) return {};
  std::string described = "table " + std::string(name) + " row " + std::to_string(found->current()) + ":";
  for (const std::string_view column : found->columns()) described += " " + std::string(column);
  return described + "\n" + std::string(found->serialise().view());
}

std::string describe_state() {
  std::string state = "calls counted: " + std::to_string(call_depth()) +
                      "\nquoting mode: " + std::to_string(current_quoting_mode()) +
                      "\ncurrent table: " + std::string(current_table_name()) + "\n";
  for (const std::string_view name : variable_names) {
    variable *const found = find_variable(name);
    if (found == nullptr || !found->exists()) continue;
    state += "variable " + std::string(name) + " = " + std::string(found->value()) + "\n";
  }
  for (const std::string_view name : macro_names) {
    if (const macro *found = find_macro(name)) {
      state += "macro " + std::string(name) + " = " + std::string(found->body.view()) + "\n";
    }
  }
  for (const std::string_view name : table_names) state += describe_table(name);
  return state + std::string(request.response_content_type.view()) + "\n";
}

void describe(const char *what, const std::string &plain, const std::string &prepared, std::string &difference) {
  if (plain == prepared) return;
  difference += std::string(what) + ", plain:\n" + plain + "\n" + what + ", prepared:\n" + prepared + "\n";
}

}  // namespace

void enter_page_folder() {
  std::string name = std::filesystem::temp_directory_path() / "quillet_pages_XXXXXX";
  if (mkdtemp(name.data()) == nullptr) std::abort();
  folder = std::filesystem::canonical(name);
  folder_name = folder.string();
  std::filesystem::current_path(folder);
  const int memory = memfd_create("output", 0);
  if (memory < 0 || dup2(memory, STDOUT_FILENO) < 0) std::abort();
  write_files();
  register_all_operators();
  request.document_root = request.path_translated = folder_name;
  request.request_uri = text("/dir/page.html?q=one");
  request.query_string = "q=one&n=7";
  request.page_path = text(folder_name + "/page.html");
  folder_name += "/page.html";
  request.path_translated = folder_name;
  request.document_root = std::string_view(folder_name).substr(0, folder_name.size() - 10);
  decode_urlencoded(form_input, sizeof form_input - 1);
  text number;
  evaluate("^random[1]", number);
}

page_result run_page(std::string_view page, bool prepared) {
  enable_preparation(prepared);
  start_request();
  const bool writes = may_write(page);
  if (writes) write_files();
  page_result result;
  text out;
  if (define_macros(page, &out) == 0) evaluate(page, out);
  result.output = out.view();
  result.header_lines = take_header_lines();
  result.state = describe_state();
  if (writes) result.files = list_files();
  return result;
}

std::string describe_difference(const page_result &plain, const page_result &prepared) {
  std::string difference;
  describe("output", plain.output, prepared.output, difference);
  describe("header lines", plain.header_lines, prepared.header_lines, difference);
  describe("state", plain.state, prepared.state, difference);
  describe("files", plain.files, prepared.files, difference);
  return difference;
}

void leave_page_folder() {
  std::filesystem::current_path("/");
  std::filesystem::remove_all(folder);
}

}  // namespace quillet_tests
