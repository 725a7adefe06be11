// quillet-dev lsp
#pragma once

namespace CLI {
class App;
}

namespace quillet::dev {

// Adds the subcommand: a language server on standard input and output. It ends the process as `serve_editor` says.
void add_lsp_command(CLI::App &app);

}  // namespace quillet::dev
