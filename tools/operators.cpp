// Prints all that the operators' tables say, as JSON: an array of objects in the order of registration.
#include <cstdio>
#include <set>
#include <string>
#include <string_view>

#include "main/modules.h"

namespace {

using namespace quillet;

// The text as a JSON string. The tables hold printable ASCII only.
std::string quoted(std::string_view text) {
  std::string literal = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') literal += '\\';
    literal += c;
  }
  return literal + '"';
}

const char *truth(bool value) { return value ? "true" : "false"; }

// The forms of a call as a JSON array. One form follows the other after a blank.
std::string forms(std::string_view synopsis) {
  std::string array = "[";
  while (true) {
    const std::size_t next = synopsis.find(" ^");
    array += quoted(synopsis.substr(0, next));
    if (next == std::string_view::npos) return array + "]";
    array += ", ";
    synopsis.remove_prefix(next + 1);
  }
}

void print(std::string_view source, const operator_definition &definition, bool gives_way) {
  std::printf("  {\"module\": %s, \"name\": %s, \"count\": %d, \"lazy\": %s, \"pure\": %s,\n", quoted(source).c_str(),
              quoted(definition.name).c_str(), definition.parameter_count, truth((definition.flags & lazy) != 0),
              truth(definition.is_pure));
  std::printf("   \"synopsis\": %s,\n   \"summary\": %s, \"gives_way\": %s}", forms(definition.synopsis).c_str(),
              quoted(definition.summary).c_str(), truth(gives_way));
}

}  // namespace

int main() {
  std::set<std::string_view> taken;
  const char *separator = "[\n";
  for (const operator_module *module : operator_modules()) {
    for (const operator_definition &definition : module->definitions) {
      std::printf("%s", separator);
      // Of two operators of a name the one registered first is in force.
      print(module->source, definition, !taken.insert(definition.name).second);
      separator = ",\n";
    }
  }
  std::printf("\n]\n");
}
