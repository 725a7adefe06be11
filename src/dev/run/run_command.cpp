#include "dev/commands.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/file.h"
#include "dev/run/answer.h"
#include "dev/run/profile.h"
#include "dev/run/request_options.h"
#include "dev/run/temporary_folder.h"
#include "dev/run/trace.h"

namespace quillet::dev {

namespace {

constexpr int status_wrong_usage = 2;
constexpr int status_of_signals = 128;

struct run_options {
  request_options request;
  std::vector<std::string> fields, cookies, headers, files, environment;
  bool with_headers = false;
  std::string trace;    // "text", "json" or empty
  std::string profile;  // "text", "folded" or empty
  int seconds = 0;
};

// The two sides of each "name=value".
std::vector<name_and_value> split_pairs(const std::vector<std::string> &pairs, char separator) {
  std::vector<name_and_value> split;
  for (const std::string &pair : pairs) {
    const std::size_t end = pair.find(separator);
    if (end == std::string::npos || end == 0) throw std::runtime_error("no name and value: " + pair);
    std::size_t start = end + 1;
    while (separator == ':' && start < pair.size() && pair[start] == ' ') ++start;
    split.emplace_back(pair.substr(0, end), pair.substr(start));
  }
  return split;
}

// What goes to standard error. One that is made for tools has it for itself.
std::string report(const run_options &options, const page_answer &answered) {
  if (options.trace == "json") return json_trace(answered);
  if (options.profile == "folded") return folded_profile(answered.seen);
  std::string lines = answered.errors + shown_notes(answered.seen);
  if (answered.took_too_long) lines += "stopped after " + std::to_string(options.seconds) + " s\n";
  if (answered.signal != 0) lines += "ended by signal " + std::to_string(answered.signal) + '\n';
  if (!options.trace.empty()) lines += shown_trace(answered.seen, isatty(STDERR_FILENO) != 0);
  if (!options.profile.empty()) lines += shown_profile(answered.seen);
  return lines;
}

int run(run_options &options) {
  options.request.fields = split_pairs(options.fields, '=');
  options.request.cookies = split_pairs(options.cookies, '=');
  options.request.headers = split_pairs(options.headers, ':');
  options.request.files = split_pairs(options.files, '=');
  options.request.environment = split_pairs(options.environment, '=');
  page_request asked = make_request(options.request);
  asked.seconds = options.seconds;
  // A site without a working directory has none of its files either: it gets an empty one for this request.
  std::optional<temporary_folder> empty;
  if (!std::filesystem::is_directory(asked.working_directory)) asked.working_directory = empty.emplace().path();
  const page_answer answered = answer(asked);
  std::string_view output = answered.output;
  if (!options.with_headers) output.remove_prefix(length_of_headers(output));
  write_all(STDOUT_FILENO, output);
  write_all(STDERR_FILENO, report(options, answered));
  return answered.signal != 0 ? status_of_signals + answered.signal : answered.status;
}

void add_options(CLI::App &command, run_options &options) {
  request_options &request = options.request;
  command.add_option("page", request.page, "The page, a file")->required();
  command.add_option("field", options.fields, "Fields of the form: name=value")->type_name("NAME=VALUE");
  const auto add_list = [&command](const char *name, std::vector<std::string> &to, const char *what, const char *type) {
    command.add_option(name, to, what)->allow_extra_args(false)->type_name(type);
  };
  command.add_option("--root", request.root, "The document root; found from the page otherwise")->type_name("DIR");
  command.add_option("--site", request.site, "The program's working directory")->type_name("DIR");
  command.add_option("--method", request.method, "GET; with --file or --body POST");
  add_list("--cookie", options.cookies, "A cookie", "NAME=VALUE");
  add_list("--header", options.headers, "A header of the request", "NAME:VALUE");
  add_list("--file", options.files, "A file to send with the form", "NAME=PATH");
  add_list("--env", options.environment, "A variable of the environment", "NAME=VALUE");
  command.add_option("--body", request.body_file, "A file that is sent as the body")->type_name("PATH");
  command.add_option("--seconds", options.seconds, "Stop the page after so many seconds");
  command.add_flag("--headers", options.with_headers, "Print the headers of the response, too");
  command.add_flag("--trace{text}", options.trace, "The tree of calls, to standard error; --trace=json for tools")
      ->check(CLI::IsMember({"text", "json"}));
  command
      .add_flag("--profile{text}", options.profile,
                "Time by operator and by line, to standard error; --profile=folded for flame graphs")
      ->check(CLI::IsMember({"text", "folded"}));
}

}  // namespace

void add_run_command(CLI::App &app) {
  CLI::App *const command = app.add_subcommand("run", "Runs a page as a web server would, and says what went wrong.");
  const auto options = std::make_shared<run_options>();
  add_options(*command, *options);
  command->callback([options] {
    int status = status_wrong_usage;
    try {
      status = run(*options);
    } catch (const std::runtime_error &error) {
      write_all(STDERR_FILENO, "quillet-dev run: " + std::string(error.what()) + '\n');
    }
    std::exit(status);
  });
}

void add_answer_command(CLI::App &app) {
  constexpr int report_descriptor = STDERR_FILENO + 1;
  CLI::App *const command = app.add_subcommand("answer", "Answers one watched request.");
  command->group("");
  command->callback([] { std::exit(answer_watched(report_descriptor)); });
}

}  // namespace quillet::dev
