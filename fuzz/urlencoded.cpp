// Fuzzes URL-encoded form input, and what the pages read of it.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

// The decoder itself rather than its header: the list of entries must be emptied between two inputs,
// which the program, serving one request, has no need for.
#include "cgi/form.cpp"  // NOLINT(bugprone-suspicious-include)
#include "check_entries.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  std::string input(reinterpret_cast<const char *>(data), size);
  if (quillet::decode_urlencoded(input.data(), input.size()) != quillet::decode_ok) std::abort();
  quillet_fuzz::check_entries(input);
  quillet::entry_count = 0;
  return 0;
}
