#include "dev/commands.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

#include "core/file.h"
#include "dev/page/site.h"
#include "dev/run/temporary_folder.h"
#include "dev/serve/http_server.h"

namespace quillet::dev {

namespace {

constexpr int status_wrong_usage = 2;
constexpr int usual_port = 8080;

struct serve_options {
  std::string folder = ".";
  std::string root, site;
  server_options server;
  bool is_plain = false;
};

int complain(const std::string &what) {
  write_all(STDERR_FILENO, "quillet-dev serve: " + what + '\n');
  return status_wrong_usage;
}

// What is wrong with a folder that was named; nothing when all are there.
std::optional<std::string> wrong_folder(const serve_options &options) {
  for (const std::string *const each : {&options.folder, &options.root, &options.site}) {
    std::error_code error;
    if (each->empty() || std::filesystem::is_directory(*each, error)) continue;
    const std::string path = normal_path(*each);
    return std::filesystem::exists(path, error) ? path + " is no folder" : "cannot read " + path;
  }
  return std::nullopt;
}

int serve(serve_options &options) {
  if (const std::optional<std::string> wrong = wrong_folder(options)) return complain(*wrong);
  const site_folders folders = find_site_folders(options.folder, options.root, options.site);
  // A site without a working directory gets an empty one, as long as it is served.
  std::optional<temporary_folder> empty;
  options.server.root = folders.root;
  options.server.working_directory =
      std::filesystem::is_directory(folders.work) ? folders.work : empty.emplace().path();
  options.server.has_panel = !options.is_plain;
  const auto is_ready = [&folders](int port) {
    const std::string address = "http://localhost:" + std::to_string(port);
    write_all(STDOUT_FILENO, "Serving " + folders.root + " at " + address + "/\nThe panel: " + address +
                                 "/.quillet-dev/\nFor authors on this machine only, not for production. Ctrl-C ends "
                                 "it.\n");
  };
  if (!serve_site(options.server, is_ready)) {
    return complain("port " + std::to_string(options.server.port) + " cannot be had; another one: --port N");
  }
  return 0;
}

}  // namespace

void add_serve_command(CLI::App &app) {
  CLI::App *const command = app.add_subcommand("serve", "Serves a site to its authors, on this machine only.");
  const auto options = std::make_shared<serve_options>();
  options->server.port = usual_port;
  options->server.editor = "vscode://file{path}:{line}:{column}";
  command->add_option("folder", options->folder, "The site: its pages, or the folder of www and run");
  command->add_option("--port", options->server.port, "The port; 0 for any free one")->capture_default_str();
  command->add_option("--root", options->root, "The document root")->type_name("DIR");
  command->add_option("--site", options->site, "The program's working directory")->type_name("DIR");
  command->add_option("--editor", options->server.editor, "The address that opens a place in your editor")
      ->capture_default_str();
  command->add_option("--seconds", options->server.seconds, "How long a page may take")->capture_default_str();
  command->add_option("--user", options->server.user, "The name of a visitor who is logged in")->type_name("NAME");
  command->add_flag("--plain", options->is_plain, "No button on pages; the panel can switch it on");
  command->callback([options] {
    try {
      std::exit(serve(*options));
    } catch (const std::runtime_error &error) {
      std::exit(complain(error.what()));
    }
  });
}

}  // namespace quillet::dev
