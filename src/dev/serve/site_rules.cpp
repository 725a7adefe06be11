#include "dev/serve/site_rules.h"

#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <utility>
#include <vector>

#include "core/text.h"

namespace quillet::dev {

namespace {

constexpr std::string_view program_address = "/cgi-bin/quillet";

int digit_value(char c) {
  if (is_digit(c)) return c - '0';
  const char low = lower_char(c);
  return low >= 'a' && low <= 'f' ? low - 'a' + 10 : -1;
}

// Without the scheme and host that a proxy's request has.
std::string_view without_host(std::string_view target) {
  const std::size_t scheme = target.find("://");
  if (target.starts_with('/') || scheme == std::string_view::npos) return target;
  const std::size_t path = target.find('/', scheme + 3);
  return path == std::string_view::npos ? "/" : target.substr(path);
}

// Nothing for what is no encoding of bytes.
std::optional<std::string> decode(std::string_view target) {
  std::string decoded;
  for (std::size_t i = 0; i < target.size(); ++i) {
    if (target[i] != '%') {
      decoded += target[i];
      continue;
    }
    const int high = i + 2 < target.size() ? digit_value(target[i + 1]) : -1;
    const int low = i + 2 < target.size() ? digit_value(target[i + 2]) : -1;
    if (high < 0 || low < 0 || high * 16 + low == 0) return std::nullopt;
    decoded += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return decoded;
}

// With each "//" as one "/", and without "." and ".."; nothing for one that leads out of the root.
std::optional<std::string> normalize(std::string_view path) {
  std::vector<std::string_view> parts;
  bool is_folder = true;
  for (std::string_view rest = path; !rest.empty();) {
    const std::size_t slash = rest.find('/');
    const std::string_view part = rest.substr(0, slash);
    rest.remove_prefix(slash == std::string_view::npos ? rest.size() : slash + 1);
    is_folder = part.empty() || part == "." || part == ".." || slash != std::string_view::npos;
    if (part == "..") {
      if (parts.empty()) return std::nullopt;
      parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
  }
  std::string normal;
  for (const std::string_view part : parts) normal += '/' + std::string(part);
  return is_folder ? normal + '/' : normal;
}

std::string lower(std::string_view text) {
  std::string lowered;
  for (const char c : text) lowered += lower_char(c);
  return lowered;
}

// Whether ".html" is one of the extensions of a name, as in "page.html.fr".
bool is_page_name(std::string_view name) {
  const std::string lowered = lower(name);
  const std::size_t html = lowered.find(".html", 1);
  return html != std::string::npos && (html + 5 == lowered.size() || lowered[html + 5] == '.');
}

std::string_view last_name(std::string_view path) { return path.substr(path.rfind('/') + 1); }

// Whether the address goes on after a page.
bool continues_after_page(std::string_view address) {
  for (std::size_t slash = 0; (slash = address.find('/', slash + 1)) != std::string_view::npos;) {
    if (is_page_name(last_name(address.substr(0, slash)))) return true;
  }
  return false;
}

bool is_own_file(std::string_view name) {
  return name.ends_with(".count") || name.starts_with("access_log") || name.starts_with("error_log");
}

addressed refuse(addressed found, std::string why) {
  found.what = addressed::refused;
  found.why = std::move(why);
  return found;
}

addressed find_file(const std::string &root, addressed found) {
  found.path = root + found.address;
  struct stat status {};
  const bool is_there = stat(found.path.c_str(), &status) == 0;
  if (is_there && S_ISDIR(status.st_mode)) {
    if (!found.address.ends_with('/')) {
      found.what = addressed::folder_without_slash;
      return found;
    }
    if (stat((found.path + "index.html").c_str(), &status) != 0) {
      return refuse(std::move(found), "The folder has no index.html, and folders are not listed.");
    }
    found.address += "index.html";
    found.path += "index.html";
  }
  const std::string_view name = last_name(found.path);
  if (is_own_file(name)) return refuse(std::move(found), "Logs and counters are never sent.");
  if (!is_there || !S_ISREG(status.st_mode)) {
    found.why = "There is no file " + found.path + ".";
    return found;
  }
  if (access(found.path.c_str(), R_OK) != 0) return refuse(std::move(found), "The file cannot be read.");
  found.what = is_page_name(name) ? addressed::page : addressed::file;
  return found;
}

}  // namespace

addressed find_addressed(const std::string &root, std::string_view target) {
  addressed found;
  const std::optional<std::string> decoded = decode(without_host(target));
  const std::optional<std::string> normal = decoded ? normalize(*decoded) : std::nullopt;
  if (!normal || !decoded->starts_with('/')) {
    found.what = addressed::wrong;
    found.why = "This is no address of a server.";
    return found;
  }
  found.address = *normal;
  if (lower(target).find("%2f") != std::string::npos) {
    found.why = "An address that spells a \"/\" as %2F names nothing.";
  } else if (continues_after_page(*normal)) {
    found.why = "An address that continues after a page names nothing.";
  } else if (*normal == program_address || normal->starts_with(std::string(program_address) + '/')) {
    found.is_program = true;
    return refuse(std::move(found), "The program is never reached by its own address.");
  } else if (normal->find("/.") != std::string::npos || normal->find("/_") != std::string::npos) {
    return refuse(std::move(found), "Names that begin with \".\" or \"_\" are never sent.");
  } else {
    return find_file(root, std::move(found));
  }
  return found;
}

std::string_view content_type_of(std::string_view path) {
  constexpr std::pair<std::string_view, std::string_view> types[] = {
      {".css", "text/css"},          {".js", "text/javascript"},      {".mjs", "text/javascript"},
      {".json", "application/json"}, {".xml", "application/xml"},     {".txt", "text/plain"},
      {".gif", "image/gif"},         {".png", "image/png"},           {".jpg", "image/jpeg"},
      {".jpeg", "image/jpeg"},       {".svg", "image/svg+xml"},       {".webp", "image/webp"},
      {".ico", "image/x-icon"},      {".pdf", "application/pdf"},     {".woff2", "font/woff2"},
      {".htm", "text/html"},         {".rss", "application/rss+xml"}, {".mp4", "video/mp4"},
      {".zip", "application/zip"},   {".md", "text/markdown"},        {".csv", "text/csv"},
  };
  const std::string name = lower(last_name(path));
  for (const auto &[extension, type] : types) {
    if (name.ends_with(extension)) return type;
  }
  return "application/octet-stream";
}

}  // namespace quillet::dev
