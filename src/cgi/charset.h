// Cyrillic charsets: recoding between the charset of the files on the server (SOURCE_CHARSET) and that
// of the pages sent to the client (CHARSET), and upper and lower case above byte 127.
#pragma once

#include <string_view>

#include "core/text.h"

namespace quillet {

enum charset : int {
  charset_none = 0,  // no recoding
  charset_windows_1251 = 1,
  charset_koi8_r = 2,  // the pivot of all recoding
  charset_cp866 = 3,
  charset_mac_cyrillic = 4,
  charset_iso_8859_5 = 5,
};

// The charset that a setting names: the first of "WIN", "1251", "KOI", "ALT", "DOS", "866", "MAC" and
// "ISO" that occurs in it, in upper or lower case, decides; none of them gives `charset_none`.
[[nodiscard]] int charset_number(std::string_view setting);

// Reads CHARSET and SOURCE_CHARSET from the environment.
void read_charsets();
// Neither is set any more.
void forget_charsets();
[[nodiscard]] int source_charset();
[[nodiscard]] int output_charset();

// Recodes the bytes in place, one by one, through KOI8-R. Nothing changes when either charset is
// `charset_none`, or when they are the same. A byte without an equivalent stays as it is.
void recode(char *bytes, std::size_t length, int from, int to);
void recode(text &bytes, int from, int to);
// From the charset of the files to that of the pages, and back.
void recode_for_output(text &bytes);
void recode_from_client(char *bytes, std::size_t length);
// The text recoded for output and URL-encoded as by `url_encode`.
[[nodiscard]] text recode_and_url_encode(std::string_view source);

// Letter case of every byte: ASCII letters by the ASCII rule. Deliberate: of every byte above 127,
// letter or not, bit 5 is cleared for upper and set for lower case; the other way round when the
// source charset is KOI8-R.
void upper_text(text &bytes);
void lower_text(text &bytes);

}  // namespace quillet
