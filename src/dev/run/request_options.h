// A request for a page as a web server would hand it to the program.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "dev/run/answer.h"

namespace quillet::dev {

using name_and_value = std::pair<std::string, std::string>;

struct request_options {
  std::string page;  // a file
  std::string root;  // the document root; found from the page when empty, and so is the next one
  std::string site;  // the program's working directory
  std::string method;
  std::vector<name_and_value> fields;
  std::vector<name_and_value> files;  // fields whose values are names of files to send
  std::vector<name_and_value> cookies;
  std::vector<name_and_value> headers;
  std::vector<name_and_value> environment;  // put over all else
  std::string body_file;                    // a body that is sent as it is
};

// Throws std::runtime_error, whose message says what is wrong: a page that is not below the root, a file that cannot
// be read.
[[nodiscard]] page_request make_request(const request_options &options);

// What a web server says about every request. The rest of the environment is left out, but for PATH and TZ and what
// sanitizers are told.
[[nodiscard]] std::vector<name_and_value> server_environment();

// A header's variable: "HTTP_ACCEPT_LANGUAGE".
[[nodiscard]] std::string header_variable(std::string_view name);

// A path as it is in a URL.
[[nodiscard]] std::string encode_path(std::string_view path);

}  // namespace quillet::dev
