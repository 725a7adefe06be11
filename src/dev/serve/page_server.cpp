#include "dev/serve/page_server.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <utility>

#include "core/file.h"
#include "core/text.h"
#include "dev/run/shown.h"
#include "dev/run/trace.h"
#include "dev/serve/own_pages.h"
#include "dev/serve/panel.h"
#include "dev/serve/site_rules.h"

namespace quillet::dev {

namespace {

constexpr std::size_t most_requests = 50;
constexpr std::size_t most_of_a_body = 4096;
constexpr int most_redirects = 10;

server_reply file_reply(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  server_reply reply;
  reply.content_type = content_type_of(path);
  reply.body.assign(std::istreambuf_iterator<char>(file), {});
  return reply;
}

std::string trimmed(std::string_view text) {
  while (!text.empty() && is_white_space(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_white_space(text.back())) text.remove_suffix(1);
  return std::string(text);
}

// What the output of a page says to the server; nothing where it is no response.
struct page_output {
  server_reply reply;
  std::string location;
  bool has_status = false;
};

std::optional<page_output> read_output(std::string_view output) {
  const std::size_t headers = length_of_headers(output);
  if (headers == 0) return std::nullopt;
  page_output read;
  for (std::string_view rest = output.substr(0, headers - 1); !rest.empty();) {
    const std::size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    const std::string name = trimmed(line.substr(0, colon));
    const std::string value = trimmed(line.substr(colon + 1));
    if (equal_ignoring_case(name, "status")) {
      read.reply.status = parse_int(value);
      read.has_status = true;
    } else if (equal_ignoring_case(name, "content-type")) {
      read.reply.content_type = value;
    } else if (equal_ignoring_case(name, "location")) {
      read.location = value;
    } else if (!equal_ignoring_case(name, "content-length")) {
      read.reply.headers.emplace_back(name, value);
    }
  }
  read.reply.body = output.substr(headers);
  return read;
}

// A line for the terminal, and the notes after it.
void print(const seen_request &seen) {
  std::string lines = seen.method + ' ' + shown_value(seen.target, seen.target.size(), 200) + ' ' +
                      std::to_string(seen.reply.status) + ' ' + shown_time(seen.answered.seen.nanoseconds) + " ms\n";
  const std::string notes = seen.answered.errors + shown_notes(seen.answered.seen);
  for (std::string_view rest = notes; !rest.empty();) {
    const std::size_t end = std::min(rest.find('\n'), rest.size() - 1) + 1;
    lines += "  " + std::string(rest.substr(0, end));
    rest.remove_prefix(end);
  }
  write_all(STDOUT_FILENO, lines);
}

}  // namespace

std::vector<name_and_value> page_server::environment_of(const server_request &asked, const std::string &method,
                                                        const std::string &query, const std::string &address,
                                                        const std::string &path) const {
  std::vector<name_and_value> environment = server_environment();
  const auto set = [&environment](const std::string &name, const std::string &value) {
    for (auto &[known, old] : environment) {
      if (known == name) {
        old = value;
        return;
      }
    }
    environment.emplace_back(name, value);
  };
  for (const auto &[name, value] : asked.headers) {
    const std::string variable = header_variable(name);
    if (variable == "HTTP_CONTENT_TYPE") {
      set("CONTENT_TYPE", value);
    } else if (variable != "HTTP_CONTENT_LENGTH" && variable != "HTTP_PROXY" && variable != "HTTP_AUTHORIZATION") {
      set(variable, value);
    }
  }
  set("SERVER_PORT", std::to_string(options_.port));
  set("REQUEST_METHOD", method);
  set("REQUEST_URI", asked.target);
  set("QUERY_STRING", query);
  set("PATH_INFO", address);
  set("PATH_TRANSLATED", path);
  set("DOCUMENT_ROOT", options_.root);
  if (asked.has_length) set("CONTENT_LENGTH", std::to_string(asked.body.size()));
  if (!options_.user.empty()) set("REMOTE_USER", options_.user);
  return environment;
}

server_reply page_server::reply_to(const server_request &asked) {
  server_reply reply = reply_to_target(asked, asked.method, asked.target, 0);
  if (reply.content_type == "text/html" || reply.content_type == "text/plain") {
    reply.content_type += "; charset=utf-8";
  }
  return reply;
}

server_reply page_server::reply_to_target(const server_request &asked, const std::string &method,
                                          const std::string &target, int redirects) {
  const std::string path = target.substr(0, target.find_first_of("?#"));
  const addressed found = find_addressed(options_.root, path);
  if (found.is_program && redirects > 0) return {403, {}, "text/plain", "403 Forbidden\n"};
  switch (found.what) {
    case addressed::wrong:
      return own_error_page(400, found.why);
    case addressed::refused:
      if (found.address == "/") return welcome_page(options_.root);
      return own_error_page(403, found.why);
    case addressed::missing:
      return own_error_page(404, found.why);
    case addressed::folder_without_slash:
      return {301, {{"Location", encode_path(found.address) + '/'}}, "text/plain", ""};
    case addressed::file:
      if (method != "GET" && method != "HEAD") return own_error_page(405, "A file is only for GET and HEAD.");
      return file_reply(found.path);
    case addressed::page:
      return reply_with_page(asked, method, target, found.address, found.path, redirects);
  }
  return own_error_page(500, "");
}

server_reply page_server::reply_with_page(const server_request &asked, const std::string &method,
                                          const std::string &target, const std::string &address,
                                          const std::string &path, int redirects) {
  count_page(1);
  const std::size_t question = target.find('?');
  const std::string query = question == std::string::npos ? "" : target.substr(question + 1);
  auto seen = std::make_shared<seen_request>();
  seen->method = method;
  seen->target = target;
  seen->environment = environment_of(asked, method, query, address, path);
  seen->body_sent = asked.body.substr(0, most_of_a_body);
  const auto began = std::chrono::steady_clock::now();
  try {
    seen->answered = answer({seen->environment, asked.body, options_.working_directory, options_.seconds});
  } catch (const std::runtime_error &error) {
    seen->answered.errors = error.what();
  }
  count_page(-1);
  const auto took = std::chrono::steady_clock::now() - began;
  seen->milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
  std::optional<page_output> read = read_output(seen->answered.output);
  if (!read) read = page_output{own_error_page(500, "The page ended without a response."), {}, true};
  seen->body_size = read->reply.body.size();
  seen->answered.output.resize(length_of_headers(seen->answered.output));
  seen->reply = {read->reply.status, read->reply.headers, read->reply.content_type, {}};
  remember(seen);
  if (!read->location.empty() && read->location.starts_with('/') && !read->has_status) {
    if (redirects == most_redirects) return own_error_page(500, "The pages redirect to each other.");
    return reply_to_target(asked, "GET", read->location, redirects + 1);
  }
  if (!read->location.empty()) {
    read->reply.headers.emplace_back("Location", read->location);
    if (!read->has_status) read->reply.status = 302;
  }
  if (has_panel() && method != "HEAD") add_panel(seen->number, read->reply);
  return std::move(read->reply);
}

// --- what is remembered ---

void page_server::remember(std::shared_ptr<seen_request> seen) {
  const std::lock_guard lock(mutex_);
  seen->number = ++last_number_;
  print(*seen);
  requests_.push_front(std::move(seen));
  if (requests_.size() > most_requests) requests_.pop_back();
}

std::vector<std::shared_ptr<const seen_request>> page_server::requests() const {
  const std::lock_guard lock(mutex_);
  return {requests_.begin(), requests_.end()};
}

std::shared_ptr<const seen_request> page_server::find_request(int number) const {
  const std::lock_guard lock(mutex_);
  const auto found =
      std::find_if(requests_.begin(), requests_.end(), [number](const auto &each) { return each->number == number; });
  return found == requests_.end() ? nullptr : *found;
}

void page_server::switch_panel(bool on) {
  const std::lock_guard lock(mutex_);
  options_.has_panel = on;
}

bool page_server::has_panel() const {
  const std::lock_guard lock(mutex_);
  return options_.has_panel;
}

void page_server::count_page(int by) {
  const std::lock_guard lock(mutex_);
  under_way_ += by;
  was_busy_ = true;
}

bool page_server::was_busy() {
  const std::lock_guard lock(mutex_);
  return std::exchange(was_busy_, under_way_ > 0);
}

}  // namespace quillet::dev
