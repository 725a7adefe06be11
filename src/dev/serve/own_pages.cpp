#include "dev/serve/own_pages.h"

#include <cstdio>

#include "dev/serve/panel.h"

namespace quillet::dev {

namespace {

// The length of the UTF-8 sequence (RFC 3629) at the front; 0 when there is none.
std::size_t sequence_length(std::string_view bytes) {
  const auto byte = [&bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char first = byte(0);
  const std::size_t length = first < 0x80                    ? 1
                             : first >= 0xC2 && first < 0xE0 ? 2
                             : first >= 0xE0 && first < 0xF0 ? 3
                             : first >= 0xF0 && first < 0xF5 ? 4
                                                             : 0;
  if (length == 0 || length > bytes.size()) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  if (length > 2 && ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) ||
                     (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F))) {
    return 0;
  }
  return length;
}

constexpr std::string_view first_page =
    "<!doctype html>\n<html lang=\"en\">\n<meta charset=\"utf-8\">\n<title>Hello</title>\n"
    "^header[Content-Type;text/html^; charset=utf-8]\n<h1>Hello, ^default[^form[name];world]!</h1>\n</html>\n";

}  // namespace

std::string html(std::string_view bytes) {
  std::string escaped;
  while (!bytes.empty()) {
    const std::size_t length = sequence_length(bytes);
    const char c = bytes.front();
    if (length == 0) {
      char hexadecimal[5];
      std::snprintf(hexadecimal, sizeof hexadecimal, "\\x%02x", static_cast<unsigned char>(c));
      escaped += hexadecimal;
    } else if (c == '&') {
      escaped += "&amp;";
    } else if (c == '<') {
      escaped += "&lt;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else if (c == '"') {
      escaped += "&quot;";
    } else if (c == '\'') {
      escaped += "&#39;";
    } else {
      escaped += bytes.substr(0, length);
    }
    bytes.remove_prefix(length == 0 ? 1 : length);
  }
  return escaped;
}

std::string own_page(std::string_view title, std::string_view content) {
  return "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
         "<meta name=\"viewport\" content=\"width=device-width\"><title>" +
         html(title) + "</title><link rel=\"stylesheet\" href=\"" + std::string(own_address) +
         "look.css\"></head>\n<body><main>" + std::string(content) + "</main></body></html>\n";
}

server_reply own_error_page(int status, std::string_view why) {
  std::string_view what = "The server cannot answer this.";
  std::string_view name = "Error";
  if (status == 403) {
    name = "Forbidden";
    what = "You don't have permission to access this address.";
  } else if (status == 404) {
    name = "Not Found";
    what = "The address was not found on this server.";
  } else if (status == 405) {
    name = "Method Not Allowed";
  } else if (status == 413) {
    name = "Request Entity Too Large";
  } else if (status == 400) {
    name = "Bad Request";
  } else if (status == 500) {
    name = "Internal Server Error";
  }
  const std::string title = std::to_string(status) + ' ' + std::string(name);
  return {status,
          {},
          "text/html; charset=utf-8",
          own_page(title, "<h1>" + title + "</h1><p>" + std::string(what) + "</p><p class=\"why\">" + html(why) +
                              "</p>" + std::string(reload_script))};
}

server_reply welcome_page(const std::string &root) {
  return {
      404,
      {},
      "text/html; charset=utf-8",
      own_page("No index.html yet",
               "<h1>No index.html yet</h1><p>This folder is served, and has no front page:</p><p><code>" + html(root) +
                   "</code></p><p>Save this there as <code>index.html</code>, and it appears here by "
                   "itself:</p><pre>" +
                   html(first_page) +
                   "</pre><p>Or stop the server and let <code>quillet-dev new</code> make a small site to start "
                   "from.</p>" +
                   std::string(reload_script))};
}

}  // namespace quillet::dev
