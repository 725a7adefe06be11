// quillet-dev run: a page, from the shell.
#pragma once

namespace CLI {
class App;
}

namespace quillet::dev {

void add_run_command(CLI::App &app);

// The hidden subcommand that answers one watched request as the program itself; `run` and `serve` start it.
void add_answer_command(CLI::App &app);

}  // namespace quillet::dev
