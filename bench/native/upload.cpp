#include <unistd.h>

#include <memory>

#include "page.h"

int main() {
  const std::size_t length = std::strtoul(std::getenv("CONTENT_LENGTH"), nullptr, 10);
  const auto body = std::make_unique_for_overwrite<char[]>(length);
  for (std::size_t done = 0; done < length;) {
    const ssize_t n = read(0, body.get() + done, length - done);
    if (n <= 0) return 1;
    done += static_cast<std::size_t>(n);
  }

  const std::string_view all(body.get(), length);
  const std::string type = std::getenv("CONTENT_TYPE");
  const std::string mark = "\r\n--" + type.substr(type.find("boundary=") + 9);
  const std::size_t start = all.find("\r\n\r\n") + 4;
  std::string_view header = all.substr(0, start);
  header.remove_prefix(header.find("filename=\"") + 10);
  const std::string_view file = all.substr(start, all.find(mark, start) - start);

  std::FILE *saved = std::fopen("received", "wb");
  if (saved == nullptr) return 1;
  std::fwrite(file.data(), 1, file.size(), saved);
  std::fclose(saved);

  std::string page = "<p>";
  append_escaped(page, take(header, '"'));
  page += ", ";
  append_number(page, static_cast<long>(file.size()));
  page += " bytes</p>\n";
  return answer(page);
}
