// Fuzzes recoding, in every pair of charsets, which the first two bytes of an input choose. No byte may appear or
// vanish, and ASCII stays.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cgi/charset.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace quillet;
  if (size < 2) return 0;
  constexpr int charsets = charset_iso_8859_5 + 1;
  const std::string_view source(reinterpret_cast<const char *>(data) + 2, size - 2);
  text bytes(source);
  recode(bytes, data[0] % charsets, data[1] % charsets);
  if (bytes.size() != source.size()) std::abort();
  for (std::size_t i = 0; i < source.size(); ++i) {
    const auto byte = static_cast<unsigned char>(source[i]);
    if (byte < 128 && bytes.view()[i] != source[i]) std::abort();
  }
  text upper(source);
  upper_text(upper);
  lower_text(upper);
  if (upper.size() != source.size() || recode_and_url_encode(source).size() < source.size()) std::abort();
  return 0;
}
