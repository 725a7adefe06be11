// The site as it is served: what a request gets, whatever brings it.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "dev/run/answer.h"
#include "dev/run/request_options.h"

namespace quillet::dev {

struct server_request {
  std::string method;
  std::string target;  // as it was sent, with the query
  std::vector<name_and_value> headers;
  std::string body;
  bool has_length = false;  // the client said how long the body is
};

struct server_reply {
  int status = 200;
  std::vector<name_and_value> headers;  // without the content type
  std::string content_type;
  std::string body;
};

// A request for a page, as the panel shows it.
struct seen_request {
  int number = 0;
  std::string method;
  std::string target;
  std::int64_t milliseconds = 0;
  server_reply reply;  // without its body
  std::vector<name_and_value> environment;
  std::string body_sent;  // the front of what the client sent
  page_answer answered;   // without its output
  std::size_t body_size = 0;
};

struct server_options {
  std::string root;
  std::string working_directory;
  int port = 0;
  int seconds = 20;    // that a page may take
  std::string user;    // who is logged in, for folders that ask for it
  std::string editor;  // an address with {path}, {line} and {column}
  bool has_panel = true;
};

class page_server {
 public:
  explicit page_server(server_options options) : options_(std::move(options)) {}

  // What the client gets. Several threads may ask at once.
  [[nodiscard]] server_reply reply_to(const server_request &asked);

  // The latest requests for pages, the last one first, and one of them; null when it is forgotten.
  [[nodiscard]] std::vector<std::shared_ptr<const seen_request>> requests() const;
  [[nodiscard]] std::shared_ptr<const seen_request> find_request(int number) const;

  [[nodiscard]] const server_options &options() const { return options_; }
  // Gives the port, which is now known.
  int set_port(int port) { return options_.port = port; }
  void switch_panel(bool on);
  [[nodiscard]] bool has_panel() const;
  // Whether requests for pages were under way at any time since this was last asked. For one that asks.
  [[nodiscard]] bool was_busy();

 private:
  [[nodiscard]] server_reply reply_with_page(const server_request &asked, const std::string &method,
                                             const std::string &target, const std::string &address,
                                             const std::string &path, int redirects);
  [[nodiscard]] std::vector<name_and_value> environment_of(const server_request &asked, const std::string &method,
                                                           const std::string &query, const std::string &address,
                                                           const std::string &path) const;
  [[nodiscard]] server_reply reply_to_target(const server_request &asked, const std::string &method,
                                             const std::string &target, int redirects);
  void count_page(int by);
  void remember(std::shared_ptr<seen_request> seen);

  server_options options_;
  mutable std::mutex mutex_;
  std::deque<std::shared_ptr<const seen_request>> requests_;  // the last one first
  int last_number_ = 0;
  int under_way_ = 0;
  bool was_busy_ = false;
};

}  // namespace quillet::dev
