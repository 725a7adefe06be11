// quillet-dev check
#pragma once

namespace CLI {
class App;
}

namespace quillet::dev {

// Adds the subcommand. It ends the process: 0 nothing found, 1 findings, 2 a path could not be checked.
void add_check_command(CLI::App &app);

}  // namespace quillet::dev
