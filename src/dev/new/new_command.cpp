#include "dev/commands.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include "dev/new/new_site.h"
#include "dev/page/site.h"

namespace quillet::dev {

namespace {

// The program that answers requests: the one in this program's folder, otherwise where it is installed.
std::filesystem::path find_program() {
  std::error_code error;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::filesystem::path neighbour = self.parent_path() / "quillet";
  return !error && std::filesystem::exists(neighbour, error) ? neighbour : "/usr/local/bin/quillet";
}

int make_site(const std::string &name) {
  try {
    make_new_site(normal_path(name), find_program());
  } catch (const std::runtime_error &error) {
    std::fprintf(stderr, "quillet-dev: %s\n", error.what());
    return 2;
  }
  std::printf("%s is a site now; its README.md says what is where. To see it:\n\n    quillet-dev serve %s\n",
              name.c_str(), name.c_str());
  return 0;
}

}  // namespace

void add_new_command(CLI::App &app) {
  const auto folder = std::make_shared<std::string>();
  CLI::App *const command = app.add_subcommand("new", "Makes a small site to start from.");
  command->add_option("DIR", *folder, "The folder, which is made; one that is there must be empty")->required();
  command->callback([folder] { std::exit(make_site(*folder)); });
}

}  // namespace quillet::dev
