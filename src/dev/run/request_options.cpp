#include "dev/run/request_options.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "core/text.h"
#include "dev/page/site.h"

namespace quillet::dev {

namespace {

constexpr std::string_view boundary = "----quillet-dev-boundary-7d3a1c";

std::string read_file(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string url_encoded(const std::vector<name_and_value> &fields) {
  std::string all;
  for (const auto &[name, value] : fields) {
    if (!all.empty()) all += '&';
    all += std::string(url_encode(name).view()) + '=' + std::string(url_encode(value).view());
  }
  return all;
}

std::string multipart_body(const request_options &options) {
  std::string body;
  const auto add = [&body](const std::string &disposition, const std::string &content) {
    body += "--" + std::string(boundary) + "\r\nContent-Disposition: form-data; " + disposition + "\r\n\r\n" + content +
            "\r\n";
  };
  for (const auto &[name, value] : options.fields) add("name=\"" + name + '"', value);
  for (const auto &[name, path] : options.files) {
    add("name=\"" + name + "\"; filename=\"" + std::filesystem::path(path).filename().string() + '"', read_file(path));
  }
  return body + "--" + std::string(boundary) + "--\r\n";
}

void put(std::vector<name_and_value> &environment, const std::string &name, const std::string &value) {
  for (auto &[known, old] : environment) {
    if (known == name) {
      old = value;
      return;
    }
  }
  environment.emplace_back(name, value);
}

std::string joined_cookies(const std::vector<name_and_value> &cookies) {
  std::string line;
  for (const auto &[name, value] : cookies) {
    line.append(line.empty() ? "" : "; ").append(name).append(1, '=').append(value);
  }
  return line;
}

// The address of the page: its path below the root, which begins with "/".
std::string address_of(const std::string &page, const std::string &root) {
  if (!page.starts_with(root + '/')) throw std::runtime_error(page + " is not below the root " + root);
  return page.substr(root.size());
}

}  // namespace

std::string header_variable(std::string_view name) {
  std::string variable = "HTTP_";
  for (const char c : name) variable += is_letter(c) || is_digit(c) ? upper_char(c) : '_';
  return variable;
}

std::string encode_path(std::string_view path) {
  std::string encoded;
  while (!path.empty()) {
    const std::size_t slash = path.find('/');
    const text part = url_escape(path.substr(0, slash));
    for (const char c : part.view()) encoded += c == '+' ? std::string("%20") : std::string(1, c);
    if (slash == std::string_view::npos) break;
    encoded += '/';
    path.remove_prefix(slash + 1);
  }
  return encoded;
}

std::vector<name_and_value> server_environment() {
  std::vector<name_and_value> environment = {{"PATH", "/usr/local/bin:/usr/bin:/bin"},
                                             {"GATEWAY_INTERFACE", "CGI/1.1"},
                                             {"SERVER_SOFTWARE", "quillet-dev"},
                                             {"SERVER_PROTOCOL", "HTTP/1.1"},
                                             {"SERVER_NAME", "localhost"},
                                             {"SERVER_PORT", "80"},
                                             {"REMOTE_ADDR", "127.0.0.1"},
                                             {"SCRIPT_NAME", "/cgi-bin/quillet"}};
  for (const char *name : {"PATH", "TZ", "ASAN_OPTIONS", "UBSAN_OPTIONS"}) {
    if (const char *value = std::getenv(name); value != nullptr) put(environment, name, value);
  }
  return environment;
}

page_request make_request(const request_options &options) {
  const std::string page = normal_path(options.page);
  const site_folders folders = find_site_folders(page, options.root, options.site);
  const std::string address = address_of(page, folders.root);
  page_request made;
  made.working_directory = folders.work;
  made.environment = server_environment();
  const auto set = [&made](const std::string &name, const std::string &value) { put(made.environment, name, value); };
  std::string method = options.method;
  if (method.empty()) method = options.files.empty() && options.body_file.empty() ? "GET" : "POST";
  const bool has_body = equal_ignoring_case(method, "POST");
  std::string query;
  if (!options.body_file.empty()) {
    made.body = read_file(options.body_file);
    query = url_encoded(options.fields);
  } else if (!has_body) {
    query = url_encoded(options.fields);
  } else if (options.files.empty()) {
    made.body = url_encoded(options.fields);
  } else {
    made.body = multipart_body(options);
  }
  set("REQUEST_METHOD", method);
  set("QUERY_STRING", query);
  set("REQUEST_URI", encode_path(address) + (query.empty() ? "" : '?' + query));
  set("PATH_INFO", address);
  set("PATH_TRANSLATED", page);
  set("DOCUMENT_ROOT", folders.root);
  set("HTTP_HOST", "localhost");
  if (has_body) {
    set("CONTENT_TYPE", options.files.empty() ? "application/x-www-form-urlencoded"
                                              : "multipart/form-data; boundary=" + std::string(boundary));
    set("CONTENT_LENGTH", std::to_string(made.body.size()));
  }
  if (!options.cookies.empty()) set("HTTP_COOKIE", joined_cookies(options.cookies));
  for (const auto &[name, value] : options.headers) {
    set(equal_ignoring_case(name, "content-type") ? "CONTENT_TYPE" : header_variable(name), value);
  }
  for (const auto &[name, value] : options.environment) set(name, value);
  return made;
}

}  // namespace quillet::dev
