// The request record: what the web server said about the request, captured once at the start, and
// what the page has decided about the response so far. One process serves one request.
#pragma once

#include <string_view>

#include "core/text.h"

namespace quillet {

struct request_record {
  // CGI values (RFC 3875), in capture order. They are views of the process's environment as the web
  // server made it; a variable that is unset reads as empty.
  std::string_view server_software;
  std::string_view server_name;
  std::string_view gateway_interface;
  std::string_view server_protocol;
  std::string_view server_port;
  std::string_view request_method;
  std::string_view captured_request_uri;
  std::string_view path_info;
  std::string_view path_translated;
  std::string_view script_name;
  std::string_view query_string;
  std::string_view remote_addr;
  std::string_view remote_host;  // `remote_addr` when the server knows no name
  std::string_view auth_type;
  std::string_view remote_user;
  std::string_view remote_ident;
  std::string_view content_type;
  int content_length = 0;
  std::string_view http_accept;
  std::string_view http_user_agent;
  std::string_view http_referer;
  std::string_view http_cookie;
  std::string_view document_root;

  // Taken by the driver once `.profile` is applied.
  text request_uri;
  text page_path;  // every relative file name of the page is resolved against its directory

  // The response.
  text response_content_type{"text/html"};
  bool content_type_set = false;  // the page chose the content type itself
  bool print_response = true;     // cleared by operators that write the whole response
};

// The request record of this process.
extern request_record request;

// Fills the captured values from the environment. A value is never null; the content length is the
// decimal number at the front of its text, 0 without one.
void capture_environment();

}  // namespace quillet
