#include "dev/page/literal.h"

namespace quillet::dev {

std::optional<std::string> literal_value(const document &file, const template_text &part) {
  if (!part.calls.empty()) return std::nullopt;
  const std::string_view source = file.text(part.range);
  const bool in_macro = !file.macros().empty();
  std::string value;
  for (std::size_t i = 0; i < source.size(); ++i) {
    const char next = i + 1 < source.size() ? source[i + 1] : '\0';
    if (source[i] == '^' && (next == '^' || next == ';' || next == '\0')) {
      if (next == '\0') break;
      value += next;
      ++i;
    } else if (source[i] == '$' && in_macro) {
      if (next != '$') return std::nullopt;
      value += '$';
      ++i;
    } else {
      value += source[i];
    }
  }
  return value;
}

std::optional<std::string> literal_parameter(const document &file, const call &each, std::size_t index) {
  if (index >= each.parameters.size()) return std::nullopt;
  return literal_value(file, each.parameters[index]);
}

bool is_call_of(const document &file, const call &each, std::string_view name) { return file.text(each.name) == name; }

}  // namespace quillet::dev
