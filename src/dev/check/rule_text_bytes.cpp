// text-bytes: a byte order mark, a byte 0, bytes that are none of the charset that the page declares.
#include <algorithm>
#include <cctype>
#include <optional>
#include <set>
#include <string>

#include "dev/check/rules.h"

namespace quillet::dev {

file_rule check_marks;
page_rule check_charset;

namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

// The offset of the first byte that does not belong to a character in UTF-8 (RFC 3629); nothing when all do.
std::optional<std::size_t> first_not_utf8(std::string_view bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const auto byte = [&](std::size_t i) { return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U; };
    const unsigned lead = byte(at);
    std::size_t length = 1;
    unsigned lowest = 0x80;  // of the second byte
    unsigned highest = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) length = 2;
    if (lead >= 0xE0 && lead <= 0xEF) length = 3;
    if (lead >= 0xF0 && lead <= 0xF4) length = 4;
    if (lead >= 0x80 && length == 1) return at;
    if (lead == 0xE0) lowest = 0xA0;
    if (lead == 0xED) highest = 0x9F;
    if (lead == 0xF0) lowest = 0x90;
    if (lead == 0xF4) highest = 0x8F;
    for (std::size_t i = 1; i < length; ++i) {
      if (byte(at + i) < lowest || byte(at + i) > highest) return at;
      lowest = 0x80;
      highest = 0xBF;
    }
    at += length;
  }
  return std::nullopt;
}

// The charsets that a text declares, in lower case: "charset=" in a meta element or a header.
void add_declared(std::string_view text, std::set<std::string> &charsets) {
  constexpr std::string_view mark = "charset";
  for (std::size_t at = 0; (at = text.find(mark, at)) != std::string_view::npos;) {
    at += mark.size();
    while (at < text.size() && text[at] == ' ') ++at;
    if (at >= text.size() || text[at] != '=') continue;
    ++at;
    while (at < text.size() && (text[at] == ' ' || text[at] == '"' || text[at] == '\'')) ++at;
    std::string name;
    for (; at < text.size() && (is_letter(text[at]) || is_digit(text[at]) || text[at] == '-'); ++at) {
      name += lower_char(text[at]);
    }
    if (!name.empty()) charsets.insert(name);
  }
}

void check_utf8(const document &file, finding_list &found) {
  if (!found.is_first_look("text-bytes", file)) return;
  const auto wrong = first_not_utf8(file.text());
  if (!wrong) return;
  found.add("text-bytes", file, {*wrong, *wrong + 1},
            "the first byte that is no UTF-8, which the page declares; save the file as UTF-8");
}

}  // namespace

void check_marks(const document &file, const checked_site & /*in*/, finding_list &found) {
  const std::string_view bytes = file.source().bytes();
  if (bytes.starts_with(byte_order_mark)) {
    found.add_in_source("text-bytes", file.source(), {0, byte_order_mark.size()},
                        "the file begins with a byte order mark, which belongs to its text; save it without one",
                        {{"Delete the byte order mark", {{{0, byte_order_mark.size()}, ""}}}});
  }
  if (const std::size_t nul = bytes.find('\0'); nul != std::string_view::npos) {
    found.add_in_source("text-bytes", file.source(), {nul, nul + 1}, "the file is read only up to this byte 0");
  }
}

void check_charset(const page_files &page, const checked_site & /*in*/, finding_list &found) {
  std::set<std::string> charsets;
  for (const document *each : page.evaluated()) add_declared(each->text(), charsets);
  if (charsets.size() != 1 || (*charsets.begin() != "utf-8" && *charsets.begin() != "utf8")) return;
  for (const document *each : page.evaluated()) check_utf8(*each, found);
  for (const document *each : page.data) check_utf8(*each, found);
}

}  // namespace quillet::dev
