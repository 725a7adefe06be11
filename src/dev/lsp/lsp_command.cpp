#include "dev/commands.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>

#include "dev/lsp/server.h"
#include "main/modules.h"

namespace quillet::dev {

void add_lsp_command(CLI::App &app) {
  CLI::App *const command = app.add_subcommand("lsp", "A language server for editors, on standard input and output.");
  command->add_flag("--stdio")->description("Accepted because many editors give it; there is no other way");
  command->callback([] {
    register_all_operators();
    std::exit(serve_editor(STDIN_FILENO, stdout));
  });
}

}  // namespace quillet::dev
