// Prints where the calls of a page or macro file are, as the program finds them, for the tests of the editors' files:
// a line "offset mark" for each "^", "[", ";" and "]" of a call, the calls in its parameters among them. The remarks of
// `rem` are no page; neither is the line that begins a macro.

#include <cstddef>
#include <cstdio>
#include <string_view>
#include <vector>

#include "core/file.h"
#include "core/scanner.h"
#include "core/text.h"

namespace {

using namespace quillet;

// Where in a file the bytes are that are left without its comment lines and carriage returns.
std::vector<std::size_t> kept_offsets(std::string_view file) {
  std::vector<std::size_t> offsets;
  bool in_comment = false;
  for (std::size_t i = 0; i < file.size(); ++i) {
    if (i == 0 || file[i - 1] == '\n') in_comment = file[i] == '#';
    if (!in_comment && file[i] != '\r') offsets.push_back(i);
  }
  return offsets;
}

class printer {
 public:
  printer(std::string_view page, const std::vector<std::size_t> &offsets) : page_(page), offsets_(offsets) {}

  void literal(std::string_view /*bytes*/) {}
  void call(std::string_view name, parameters &parameters) {
    print(name.data() - 1);
    print(name.data() + name.size());
    for (int i = name == "rem" ? parameters.count() - 1 : 0; i < parameters.count(); ++i) {
      const char *end = parameters[i].data() + parameters[i].size();
      if (*end == '`') ++end;
      print(end);
    }
    if (name == "rem") return;
    for (int i = 0; i < parameters.count(); ++i) scan(parameters[i]);
  }
  void scan(std::string_view source) { scanner(source, *this).run(); }

 private:
  void print(const char *mark) {
    std::printf("%zu %c\n", offsets_[static_cast<std::size_t>(mark - page_.data())], *mark);
  }

  std::string_view page_;
  const std::vector<std::size_t> &offsets_;
};

}  // namespace

int main(int count, char **arguments) {
  if (count != 2) return 2;
  const text page = read_text_file(arguments[1], false, false);
  const text file = open_file(arguments[1], 0).read_all();
  const std::vector<std::size_t> offsets = kept_offsets(file);
  if (page.is_null() || offsets.size() != page.size()) return 1;
  printer printer(page, offsets);
  for (std::string_view rest = page; !rest.empty();) {
    if (rest.starts_with('@')) next_token(rest, '\n');
    const std::size_t end = rest.starts_with('@') ? 0 : rest.find("\n@");
    printer.scan(rest.substr(0, end));
    if (end == std::string_view::npos) break;
    rest.remove_prefix(rest.starts_with('@') ? 0 : end + 1);
  }
}
