#include "db/connection_string.h"

namespace quillet {

namespace {

text part(std::string_view bytes) { return copy_prefix(bytes, bytes.size()); }

}  // namespace

connection_target split_connection_string(std::string_view source) {
  std::string_view user = source;
  std::string_view host = cut_at_char(user, '@');
  const std::string_view database = cut_at_char(host, '/');
  const std::string_view password = cut_at_char(user, ':');
  const std::string_view port = cut_at_char(host, ':');
  return {part(user), part(password), part(host), parse_int(port), part(database)};
}

}  // namespace quillet
