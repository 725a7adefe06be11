// Process entry of `quillet-fcgi`, which answers requests over FastCGI.

#include <CLI/CLI.hpp>

#include "fcgi/options.h"
#include "fcgi/server.h"

namespace {

std::string read_octal(const std::string &octal) {
  constexpr std::size_t most_digits = 4;
  if (octal.empty() || octal.size() > most_digits || octal.find_first_not_of("01234567") != std::string::npos) {
    throw CLI::ValidationError("permissions", octal + " is not octal");
  }
  return std::to_string(std::stoi(octal, nullptr, 8));
}

void add_options(CLI::App &app, quillet::server_options &options) {
  app.add_option("--socket", options.socket,
                 "where requests come in: a path, a port of this machine, ADDRESS:PORT; "
                 "without it the socket that is handed over");
  app.add_option("--socket-mode", options.socket_mode, "the permissions of such a path, octal")->transform(read_octal);
  app.add_option("--directory", options.directory, "the site's working directory")->capture_default_str();
  app.add_option("--status", options.status, "where the status is told, like --socket");
  const auto number = [&](const char *name, int &value, int least, int most, const char *summary) {
    app.add_option(name, value, summary)->capture_default_str()->check(CLI::Range(least, most));
  };
  constexpr int any = 1000000000;
  number("--processes", options.processes, 1, 10000, "processes that answer at the same time");
  number("--spare", options.spare, 1, 10000, "processes that wait for a request");
  number("--requests-per-process", options.requests_per_process, 1, any, "requests that a process answers");
  number("--waiting", options.waiting, 0, 200, "requests that wait while all processes are busy; others get 503");
  number("--time", options.time, 0, any, "seconds that a request may take; 0: any number");
  number("--processor-time", options.processor_time, 1, any, "seconds of processor time of a request");
  number("--memory", options.memory, 1, any, "MiB of memory of a request");
  number("--body", options.body, 0, 2047, "MiB of a request's body");
  number("--file", options.file, 1, any, "MiB of each file that a request writes");
  number("--stop-time", options.stop_time, 0, any, "seconds that running requests get when the server stops");
}

}  // namespace

// An error that nobody expects ends the program with the message of the C++ library.
int main(int argc, char **argv) {  // NOLINT(bugprone-exception-escape)
  CLI::App app("Answers requests for quillet pages over FastCGI.");
  app.set_version_flag("--version", "quillet-fcgi 1.0");
  app.set_config("--config", "", "a file with a line OPTION=VALUE for each of the options below");
  quillet::server_options options;
  add_options(app, options);
  CLI11_PARSE(app, argc, argv);
  return quillet::serve(options, argv);
}
