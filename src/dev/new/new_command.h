// quillet-dev new
#pragma once

namespace CLI {
class App;
}

namespace quillet::dev {

// Adds the subcommand. It ends the process: 0 the site was made, 2 it could not be made.
void add_new_command(CLI::App &app);

}  // namespace quillet::dev
