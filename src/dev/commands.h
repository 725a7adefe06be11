// The subcommands of quillet-dev; each is in a folder of its own and adds itself. They end the process.
#pragma once

namespace CLI {
class App;
}

namespace quillet::dev {

// 0: nothing found; 1: findings; 2: a path could not be checked.
void add_check_command(CLI::App &app);

// A language server on standard input and output; ends as `serve_editor` says.
void add_lsp_command(CLI::App &app);

// 0: the site was made; 2: it could not be made.
void add_new_command(CLI::App &app);

// A page, from the shell.
void add_run_command(CLI::App &app);

// The hidden subcommand that answers one watched request as the program itself; `run` and `serve` start it.
void add_answer_command(CLI::App &app);

// A web server for authors.
void add_serve_command(CLI::App &app);

}  // namespace quillet::dev
