// Fuzzes multipart form input. The first line of an input is the content type, the rest is the body.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

// The decoder itself rather than its header: the list of entries must be emptied between two inputs,
// which the program, serving one request, has no need for.
#include "cgi/form.cpp"  // NOLINT(bugprone-suspicious-include)
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
  for (const quillet::form_entry &entry : quillet::form_entries()) {
    if (entry.name.empty() || entry.value.empty()) std::abort();
  }
  quillet::entry_count = 0;
  return 0;
}
