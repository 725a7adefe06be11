// URL-encoded form input (HTML's application/x-www-form-urlencoded).
#include <cstring>

#include "cgi/form.h"
#include "cgi/form_list.h"

namespace quillet {

namespace {

// Passes the name and the value of each field, not yet decoded, to `use_field`. A rest without "=" is no field.
template <class function>
void for_each_field(char *data, std::size_t length, const function &use_field) {
  const std::string_view bytes(data, length);
  std::size_t at = 0;
  for (std::size_t equals; (equals = bytes.find('=', at)) != std::string_view::npos;) {
    const std::size_t end = std::min(bytes.find('&', equals + 1), length);
    use_field(data + at, equals - at, data + equals + 1, end - equals - 1);
    at = std::min(end + 1, length);
  }
}

}  // namespace

// Decoded fields are moved together, each value after its name, so that an entry needs no more than two numbers.
decode_result decode_urlencoded(char *data, std::size_t length) {
  std::size_t count = 0;
  for_each_field(data, length, [&count](char *, std::size_t, char *, std::size_t) { ++count; });
  if (count == 0) return decode_ok;
  packed_field *field = add_packed_fields(data, count);
  if (field == nullptr) return decode_no_memory;

  char *end = data;
  const auto offset = [data, &end] { return static_cast<std::uint32_t>(end - data); };
  for_each_field(data, length, [&](char *name, std::size_t name_size, char *value, std::size_t value_size) {
    const std::string_view decoded_name = until_nul(url_decode(name, name_size));
    *field++ = {offset(), static_cast<std::uint32_t>(decoded_name.size())};
    std::memmove(end, decoded_name.data(), decoded_name.size());
    end += decoded_name.size();
    const std::string_view decoded_value = url_decode(value, value_size);
    std::memmove(end, decoded_value.data(), decoded_value.size());
    end += decoded_value.size();
  });
  *field = {offset(), 0};
  return decode_ok;
}

}  // namespace quillet
