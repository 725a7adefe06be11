// Process entry of `quillet-dev`, the author's tool: the subcommands, each in a folder of its own.

#include <CLI/CLI.hpp>

int main(int argc, char **argv) {
  CLI::App app("Checks and runs pages while you write them.");
  app.set_version_flag("--version", "quillet-dev 1.0");
  app.require_subcommand(1);
  CLI11_PARSE(app, argc, argv);
  return 0;
}
