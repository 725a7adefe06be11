#include "db/connection_string.h"

namespace quillet {

connection_target split_connection_string(std::string_view source) {
  std::string_view user = source;
  std::string_view host = cut_at_char(user, '@');
  const std::string_view database = cut_at_char(host, '/');
  const std::string_view password = cut_at_char(user, ':');
  const std::string_view port = cut_at_char(host, ':');
  return {text_or_null(user), text_or_null(password), text_or_null(host), parse_int(port), text_or_null(database)};
}

}  // namespace quillet
