#include "dev/commands.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "dev/check/checker.h"
#include "dev/check/report.h"
#include "main/modules.h"

namespace quillet::dev {

namespace {

struct check_options {
  std::string format = "text";
  std::string root;
  std::string work;
  std::vector<std::string> page_patterns;
  std::vector<std::string> paths;
};

enum check_status : int { nothing_found = 0, something_found = 1, cannot_check = 2 };

std::string report(const check_options &options, const std::vector<finding> &findings, site &files) {
  if (options.format == "gcc") return report_gcc(findings);
  if (options.format == "json") return report_json(findings);
  if (options.format == "sarif") return report_sarif(findings);
  return report_text(findings, files, isatty(STDOUT_FILENO) != 0);
}

check_status check(const check_options &options) {
  register_all_operators();
  std::vector<std::string> paths;
  for (const std::string &each : options.paths) paths.push_back(normal_path(each));
  checker checks(find_site_folders(paths.front(), options.root, options.work), options.page_patterns);
  std::vector<std::string> problems;
  const std::vector<finding> findings = checks.check(paths, problems);
  const std::string text = report(options, findings, checks.files());
  std::fwrite(text.data(), 1, text.size(), stdout);
  if (std::fflush(stdout) != 0) problems.emplace_back("cannot write the findings");
  for (const std::string &each : problems) std::fprintf(stderr, "quillet-dev: %s\n", each.c_str());
  if (!problems.empty()) return cannot_check;
  return findings.empty() ? nothing_found : something_found;
}

}  // namespace

void add_check_command(CLI::App &app) {
  const auto options = std::make_shared<check_options>();
  CLI::App *const command = app.add_subcommand("check", "Finds mistakes in pages, macro files and data files.");
  command->add_option("--format", options->format, "How findings are printed")
      ->check(CLI::IsMember({"text", "gcc", "json", "sarif"}))
      ->capture_default_str();
  command->add_option("--root", options->root, "The document root");
  command->add_option("--site", options->work, "The program's working directory, with its _macro.cfg");
  command->add_option("--pages", options->page_patterns, "More files that are pages, as '*.htm'");
  command->add_option("PATH", options->paths, "Files and folders")->required();
  command->callback([options] { std::exit(check(*options)); });
}

}  // namespace quillet::dev
