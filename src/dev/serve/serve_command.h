// quillet-dev serve: a web server for authors.
#pragma once

namespace CLI {
class App;
}

namespace quillet::dev {

void add_serve_command(CLI::App &app);

}  // namespace quillet::dev
