// Fuzzes URL-encoded form input, and what the pages read of it.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cgi/form.h"
#include "check_entries.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  std::string input(reinterpret_cast<const char *>(data), size);
  if (quillet::decode_urlencoded(input.data(), input.size()) != quillet::decode_ok) std::abort();
  quillet_fuzz::check_entries(input);
  quillet::free_form_entries();
  return 0;
}
