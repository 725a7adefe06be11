// Process entry of `quillet-dev`, the author's tool: the subcommands, each in a folder of its own.

#include <CLI/CLI.hpp>

#include "dev/commands.h"

// An error that nobody expects ends the program with the message of the C++ library.
int main(int argc, char **argv) {  // NOLINT(bugprone-exception-escape)
  CLI::App app("Checks and runs pages while you write them.");
  app.set_version_flag("--version", "quillet-dev 1.0");
  app.require_subcommand(1);
  quillet::dev::add_check_command(app);
  quillet::dev::add_lsp_command(app);
  quillet::dev::add_new_command(app);
  quillet::dev::add_run_command(app);
  quillet::dev::add_answer_command(app);
  quillet::dev::add_serve_command(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    constexpr int wrong_usage = 2;
    return app.exit(error) == 0 ? 0 : wrong_usage;
  }
  return 0;
}
