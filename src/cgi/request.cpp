#include "cgi/request.h"

#include <cstdlib>

namespace quillet {

request_record request;

namespace {

struct captured_variable {
  const char *name;
  std::string_view request_record::*field;
};

// In capture order; CONTENT_LENGTH, the only number, is between CONTENT_TYPE and HTTP_ACCEPT.
constexpr captured_variable captured_variables[] = {
    {"SERVER_SOFTWARE", &request_record::server_software},
    {"SERVER_NAME", &request_record::server_name},
    {"GATEWAY_INTERFACE", &request_record::gateway_interface},
    {"SERVER_PROTOCOL", &request_record::server_protocol},
    {"SERVER_PORT", &request_record::server_port},
    {"REQUEST_METHOD", &request_record::request_method},
    {"REQUEST_URI", &request_record::captured_request_uri},
    {"PATH_INFO", &request_record::path_info},
    {"PATH_TRANSLATED", &request_record::path_translated},
    {"SCRIPT_NAME", &request_record::script_name},
    {"QUERY_STRING", &request_record::query_string},
    {"REMOTE_ADDR", &request_record::remote_addr},
    {"REMOTE_HOST", &request_record::remote_host},
    {"AUTH_TYPE", &request_record::auth_type},
    {"REMOTE_USER", &request_record::remote_user},
    {"REMOTE_IDENT", &request_record::remote_ident},
    {"CONTENT_TYPE", &request_record::content_type},
    {"HTTP_ACCEPT", &request_record::http_accept},
    {"HTTP_USER_AGENT", &request_record::http_user_agent},
    {"HTTP_REFERER", &request_record::http_referer},
    {"HTTP_COOKIE", &request_record::http_cookie},
    {"DOCUMENT_ROOT", &request_record::document_root},
};

std::string_view environment_value(const char *name) {
  const char *value = std::getenv(name);
  return value == nullptr ? std::string_view("") : std::string_view(value);
}

}  // namespace

void capture_environment() {
  for (const captured_variable &variable : captured_variables) {
    request.*variable.field = environment_value(variable.name);
  }
  if (request.remote_host.empty()) request.remote_host = request.remote_addr;
  request.content_length = parse_int(environment_value("CONTENT_LENGTH"));
}

}  // namespace quillet
