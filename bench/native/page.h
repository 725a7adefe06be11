// What every hand-written page needs: its inputs, its quoting, its answer.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

// The number n of the query "n=1000".
inline int query_number() { return std::atoi(std::getenv("QUERY_STRING") + 2); }

inline std::string read_file(const std::string &name) {
  std::FILE *file = std::fopen(name.c_str(), "rb");
  if (file == nullptr) std::exit(1);
  std::fseek(file, 0, SEEK_END);
  std::string bytes(static_cast<std::size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
  std::fclose(file);
  return bytes;
}

// What HTML shows for a character that means something in it; empty for any other character.
inline std::string_view entity(char c) {
  switch (c) {
    case '"':
      return "&quot;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '&':
      return "&amp;";
    default:
      return "";
  }
}

// Appends text with its special characters written as HTML entities.
inline void append_escaped(std::string &page, std::string_view text) {
  std::size_t from = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const std::string_view escaped = entity(text[at]);
    if (escaped.empty()) continue;
    page += text.substr(from, at - from);
    page += escaped;
    from = at + 1;
  }
  page += text.substr(from);
}

inline void append_number(std::string &page, long number) { page += std::to_string(number); }

// Takes the text up to the separator, or all of it, from the front of `rest`.
inline std::string_view take(std::string_view &rest, char separator) {
  const std::size_t at = rest.find(separator);
  const std::string_view part = rest.substr(0, at);
  rest.remove_prefix(at == rest.npos ? rest.size() : at + 1);
  return part;
}

inline int answer(std::string_view page) {
  std::printf("Content-type: text/html\nContent-length: %zu\n\n", page.size());
  std::fwrite(page.data(), 1, page.size(), stdout);
  return 0;
}
