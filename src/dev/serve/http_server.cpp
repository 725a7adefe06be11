#include "dev/serve/http_server.h"

#include <httplib.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>

#include "core/text.h"
#include "dev/serve/change_watcher.h"
#include "dev/serve/own_pages.h"
#include "dev/serve/panel.h"

namespace quillet::dev {

namespace {

constexpr std::size_t longest_body = std::size_t{128} << 20;  // as in packaging/quillet.cgi
constexpr std::size_t threads = 64;                           // an open page takes one, which waits for changes
constexpr char type_header[] = "Quillet-Dev-Content-Type";

// Only a name of this machine: a web page elsewhere whose own name leads here gets nothing.
bool is_name_of_this_machine(std::string host) {
  const std::size_t port = host.rfind(':');
  if (port != std::string::npos && host.find(']', port) == std::string::npos) host.resize(port);
  return equal_ignoring_case(host, "localhost") || host == "127.0.0.1" || host == "[::1]";
}

bool is_own_host(const httplib::Request &request) {
  return request.version == "HTTP/1.0" || is_name_of_this_machine(request.get_header_value("Host"));  // 1.0: no browser
}

// Whether a page that sends the request, if there is one, is of this server.
bool is_own_origin(const httplib::Request &request) {
  const std::string origin = request.get_header_value("Origin");
  const std::size_t host = origin.find("://");
  return !request.has_header("Origin") ||
         (host != std::string::npos && is_name_of_this_machine(origin.substr(host + 3)));
}

server_request to_own(const httplib::Request &request) {
  server_request own;
  own.method = request.method;
  own.target = request.target;
  own.has_length = request.has_header("Content-Length");
  for (const auto &[name, value] : request.headers) {
    // The library's own additions.
    if (name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" || name == "LOCAL_PORT") continue;
    const std::string known = name == type_header ? "Content-Type" : name;
    if (!own.headers.empty() && equal_ignoring_case(own.headers.back().first, known)) {
      own.headers.back().second += ", " + value;
    } else {
      own.headers.emplace_back(known, value);
    }
  }
  return own;
}

void put_reply(const server_reply &reply, httplib::Response &response) {
  response.status = reply.status;
  for (const auto &[name, value] : reply.headers) response.headers.emplace(name, value);
  response.set_content(reply.body, reply.content_type);
}

class site_server {
 public:
  explicit site_server(server_options options)
      : site_(std::move(options)),
        watcher_(site_.options().root, site_.options().working_directory, [this] { return site_.was_busy(); }) {
    server_.new_task_queue = [] { return new httplib::ThreadPool(threads); };
    server_.set_keep_alive_max_count(1);
    // The library's own choice would let two servers have one port.
    server_.set_socket_options([](int socket) {
      const int yes = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    server_.set_pre_routing_handler([this](const httplib::Request &request, httplib::Response &response) {
      return begin(request, response) ? httplib::Server::HandlerResponse::Handled
                                      : httplib::Server::HandlerResponse::Unhandled;
    });
    const auto with_body = [this](const httplib::Request &request, httplib::Response &response,
                                  const httplib::ContentReader &read) {
      server_request asked = to_own(request);
      read([&asked](const char *bytes, std::size_t size) {
        asked.body.append(bytes, size);
        return asked.body.size() <= longest_body;
      });
      asked.has_length = true;
      finish(asked, response);
    };
    constexpr char any[] = "[\\s\\S]*";
    server_.Post(any, with_body);
    server_.Put(any, with_body);
    server_.Patch(any, with_body);
    server_.Delete(any, with_body);
  }

  // Gives the port; below 0 when there is none.
  int bind() {
    const int wanted = site_.options().port;
    if (wanted == 0) return site_.set_port(server_.bind_to_any_port("127.0.0.1"));
    return server_.bind_to_port("127.0.0.1", wanted) ? wanted : -1;
  }

  // Until one of the signals comes, which all threads have blocked.
  void serve(const sigset_t &ends) {
    std::thread waiting([this, &ends] {
      int number = 0;
      sigwait(&ends, &number);
      is_ending_ = true;
      server_.stop();
    });
    server_.listen_after_bind();
    waiting.join();
  }

 private:
  // Answers what has no body to be read; true when that is done.
  bool begin(const httplib::Request &request, httplib::Response &response) {
    // The library would cut a reply to what the client has not got yet, and take forms apart by itself.
    auto &changed = const_cast<httplib::Request &>(request);
    changed.ranges.clear();
    const auto type = changed.headers.find("Content-Type");
    if (type != changed.headers.end()) {
      changed.headers.emplace(type_header, type->second);
      changed.headers.erase("Content-Type");
    }
    if (!is_own_host(request)) {
      put_reply(own_error_page(403, "This server answers for localhost only."), response);
      return true;
    }
    if (request.path.starts_with(own_address) && !is_own_origin(request)) {
      put_reply(own_error_page(403, "The panel is not for pages of other sites."), response);
      return true;
    }
    if (parse_long(request.get_header_value("Content-Length")) > static_cast<long long>(longest_body)) {
      put_reply(own_error_page(413, ""), response);
      return true;
    }
    if (request.path == "/.quillet-dev/changes") {
      send_changes(response);
      return true;
    }
    const bool has_body = request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
    const bool may_have_body =
        request.method == "POST" || request.method == "PUT" || request.method == "PATCH" || request.method == "DELETE";
    if (has_body && may_have_body) return false;
    finish(to_own(request), response);
    return true;
  }

  void finish(const server_request &asked, httplib::Response &response) {
    if (!asked.target.starts_with(own_address)) return put_reply(site_.reply_to(asked), response);
    // Nothing of the panel is for other sites, not even as a frame or a script.
    response.headers.emplace("Cross-Origin-Resource-Policy", "same-origin");
    response.headers.emplace("X-Frame-Options", "SAMEORIGIN");
    std::optional<server_reply> own = panel_reply(site_, asked);
    put_reply(own ? *own : own_error_page(404, "The panel has no such page."), response);
  }

  // Server-sent events (the HTML standard): an event for each change of the site's files.
  void send_changes(httplib::Response &response) {
    constexpr int milliseconds = 1000;
    response.set_chunked_content_provider(
        "text/event-stream", [this, known = watcher_.changes()](std::size_t, httplib::DataSink &sink) mutable {
          const unsigned now = watcher_.wait_for_more(known, milliseconds);
          const std::string_view event = now == known ? ": nothing yet\n\n" : "data: change\n\n";
          known = now;
          if (is_ending_) sink.done();
          return !is_ending_ && sink.write(event.data(), event.size());
        });
  }

  page_server site_;
  change_watcher watcher_;
  std::atomic<bool> is_ending_ = false;
  httplib::Server server_;
};

}  // namespace

bool serve_site(server_options options, const std::function<void(int port)> &is_ready) {
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  site_server server(std::move(options));
  const int port = server.bind();
  if (port < 0) return false;
  is_ready(port);
  server.serve(ends);
  return true;
}

}  // namespace quillet::dev
