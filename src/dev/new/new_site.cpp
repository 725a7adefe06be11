#include "dev/new/new_site.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "dev/embedded_files.h"

namespace quillet::dev {

namespace {

namespace fs = std::filesystem;

// The text between the quotation marks, with a backslash before each character that is one of `special`.
std::string escaped(std::string_view value, std::string_view special) {
  std::string result;
  for (const char c : value) {
    if (special.find(c) != std::string_view::npos) result += '\\';
    result += c;
  }
  return result;
}

// One word for the shell.
std::string shell_word(std::string_view value) {
  std::string word = "'";
  for (const char c : value) {
    if (c == '\'') word += "'\\'";
    word += c;
  }
  return word + "'";
}

std::string_view server_file(std::string_view name) {
  const auto files = server_files();
  return std::find_if(files.begin(), files.end(), [&](const embedded_file &each) { return each.name == name; })->bytes;
}

// What httpd includes: where the site is, then the configuration that all sites share.
std::string server_configuration(const fs::path &folder) {
  const auto define = [](std::string_view name, const fs::path &path) {
    return "Define " + std::string(name) + " \"" + escaped(path.native(), "\"\\") + "\"\n";
  };
  std::string text =
      "# Serves this site with Apache httpd 2.4: include this file in the configuration of a virtual host.\n";
  text += define("QUILLET_PAGES", folder / "www") + define("QUILLET_CGI", folder / "server/cgi-bin");
  text += "DocumentRoot \"${QUILLET_PAGES}\"\nAddDefaultCharset UTF-8\nErrorDocument 404 /not-found.html\n\n";
  return text.append(server_file("apache/quillet.conf"));
}

// The program that httpd runs: the lines that say where the site and the program are, filled in.
std::string server_program(const fs::path &folder, const fs::path &program) {
  std::string text(server_file("quillet.cgi"));
  const auto fill_in = [&text](std::string_view variable, const fs::path &value) {
    const std::size_t start = text.find("\n" + std::string(variable) + "=") + 1 + variable.size() + 1;
    text.replace(start, text.find('\n', start) - start, shell_word(value.native()));
  };
  fill_in("work", folder / "run");
  fill_in("program", program);
  return text;
}

void write(const fs::path &path, std::string_view bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

}  // namespace

void make_new_site(const fs::path &folder, const fs::path &program) {
  try {
    if (fs::exists(folder) && !(fs::is_directory(folder) && fs::is_empty(folder))) {
      throw std::runtime_error(folder.string() + " is there already and not an empty folder");
    }
    for (const embedded_file &each : new_site_files()) write(folder / each.name, each.bytes);
    write(folder / "server/apache.conf", server_configuration(folder));
    const fs::path wrapper = folder / "server/cgi-bin/quillet";
    write(wrapper, server_program(folder, program));
    constexpr auto executable = fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec;
    fs::permissions(wrapper, executable, fs::perm_options::add);
  } catch (const fs::filesystem_error &error) {
    throw std::runtime_error(error.path1().string() + ": " + error.code().message());
  }
}

}  // namespace quillet::dev
