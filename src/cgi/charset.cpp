#include "cgi/charset.h"

#include <array>
#include <cstdlib>

#include "cgi/charset_tables.h"

namespace quillet {

namespace {

// What the environment says.
struct charset_settings {
  int source = charset_none;
  int output = charset_none;
};

charset_settings charsets;

struct charset_key {
  std::string_view key;
  int number;
};

// In the order of the search.
constexpr charset_key charset_keys[] = {
    {"WIN", charset_windows_1251}, {"1251", charset_windows_1251}, {"KOI", charset_koi8_r},
    {"ALT", charset_cp866},        {"DOS", charset_cp866},         {"866", charset_cp866},
    {"MAC", charset_mac_cyrillic}, {"ISO", charset_iso_8859_5},
};

using recoding_table = std::array<unsigned char, 256>;

// From one charset into another; a byte without an equivalent stays as it is.
constexpr recoding_table make_table(const high_half &from, const high_half &to) {
  recoding_table table{};
  for (unsigned byte = 0; byte < 256; ++byte) table[byte] = static_cast<unsigned char>(byte);
  for (unsigned i = 0; i < 128; ++i) {
    for (unsigned k = 0; k < 128; ++k) {
      if (from[i] != 0 && from[i] == to[k]) table[128 + i] = static_cast<unsigned char>(128 + k);
    }
  }
  return table;
}

constexpr recoding_table identity = make_table({}, {});

struct recoding_pair {
  recoding_table to_pivot;
  recoding_table from_pivot;
};

constexpr recoding_pair make_pair_with_pivot(const high_half &half) {
  return {make_table(half, koi8_r_to_unicode), make_table(koi8_r_to_unicode, half)};
}

// Each a constant of its own: compilers bound the steps that one may take.
constexpr recoding_pair windows_1251 = make_pair_with_pivot(windows_1251_to_unicode);
constexpr recoding_pair cp866 = make_pair_with_pivot(cp866_to_unicode);
constexpr recoding_pair mac_cyrillic = make_pair_with_pivot(mac_cyrillic_to_unicode);
constexpr recoding_pair iso_8859_5 = make_pair_with_pivot(iso_8859_5_to_unicode);
constexpr recoding_pair unchanged = {identity, identity};

// By charset number.
constexpr const recoding_pair *tables[] = {&unchanged, &windows_1251, &unchanged, &cp866, &mac_cyrillic, &iso_8859_5};

int charset_of_variable(const char *name) {
  const char *value = std::getenv(name);
  return value == nullptr ? charset_none : charset_number(value);
}

// Bit 5 of every byte above 127, which distinguishes upper from lower case.
void set_high_case(text &bytes, bool bit) {
  for (char *at = bytes.data(), *end = at + bytes.size(); at < end; ++at) {
    const auto byte = static_cast<unsigned char>(*at);
    if (byte > 127) *at = static_cast<char>(bit ? byte | 32 : byte & ~32);
  }
}

}  // namespace

int charset_number(std::string_view setting) {
  text upper(setting);
  upper_in_place(upper);
  for (const charset_key &key : charset_keys) {
    if (upper.view().find(key.key) != std::string_view::npos) return key.number;
  }
  return charset_none;
}

void read_charsets() {
  charsets.output = charset_of_variable("CHARSET");
  charsets.source = charset_of_variable("SOURCE_CHARSET");
}

void forget_charsets() { charsets = {}; }

int source_charset() { return charsets.source; }
int output_charset() { return charsets.output; }

void recode(char *bytes, std::size_t length, int from, int to) {
  if (from == charset_none || to == charset_none || from == to) return;
  const recoding_table &to_pivot = tables[from]->to_pivot;
  const recoding_table &from_pivot = tables[to]->from_pivot;
  for (char *end = bytes + length; bytes < end; ++bytes) {
    *bytes = static_cast<char>(from_pivot[to_pivot[static_cast<unsigned char>(*bytes)]]);
  }
}

void recode(text &bytes, int from, int to) { recode(bytes.data(), bytes.size(), from, to); }

void recode_for_output(text &bytes) { recode(bytes, charsets.source, charsets.output); }
void recode_from_client(char *bytes, std::size_t length) { recode(bytes, length, charsets.output, charsets.source); }

text recode_and_url_encode(std::string_view source) {
  text recoded(source);
  recode_for_output(recoded);
  return url_encode(recoded);
}

void upper_text(text &bytes) {
  upper_in_place(bytes);
  set_high_case(bytes, charsets.source == charset_koi8_r);
}

void lower_text(text &bytes) {
  lower_in_place(bytes);
  set_high_case(bytes, charsets.source != charset_koi8_r);
}

}  // namespace quillet
