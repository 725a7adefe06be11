// Fuzzes multipart form input. The first line of an input is the content type, the rest is the body.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cgi/charset.h"
#include "cgi/form.h"
#include "cgi/request.h"
#include "check_entries.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  setenv("CHARSET", "windows-1251", 1);
  setenv("SOURCE_CHARSET", "koi8-r", 1);
  quillet::read_charsets();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char *>(data), size);
  const std::size_t line = std::min(input.find('\n'), size);
  const std::string type(quillet::until_nul(input.substr(0, line)));
  std::string body(input.substr(std::min(line + 1, size)));
  quillet::request.content_type = type;
  quillet::decode_multipart(body.data(), body.size());
  quillet_fuzz::check_entries(body);
  for (const quillet::form_entry entry : quillet::form_entries()) {
    if (entry.name.empty() || entry.value.empty()) std::abort();
  }
  quillet::free_form_entries();
  return 0;
}
