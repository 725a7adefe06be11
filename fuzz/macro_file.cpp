// Fuzzes macro files: the line filter, the definition blocks, `autoexec`, `main` and the calls in them.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

// The sources themselves rather than their headers: the calls that stay counted and the macros, which
// the program keeps for its one request, start again with each input.
#include "core/calls.h"
#include "core/file.h"
#include "macro/macro_library.cpp"  // NOLINT(bugprone-suspicious-include)
#include "macro/macro_operators.h"

namespace {

// Few levels of calls: a macro that doubles its argument and calls itself may rightly grow with each.
constexpr int levels = 5;

void op_none(quillet::parameters &, quillet::text &) {}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  quillet::register_operator("macro_use", op_none, 1, quillet::evaluated);  // reads files
  quillet::register_macro_operators();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace quillet;
  text source(std::string_view(reinterpret_cast<const char *>(data), size));
  filter_lines(source, false);
  if (source.view().find('\r') != std::string_view::npos || source.view().find("\n#") != std::string_view::npos) {
    std::abort();
  }
  calls.depth = max_call_depth - levels;
  text output;
  define_macros(source, &output);
  // A macro may define others.
  std::vector<std::string> names;
  for (const auto &[name, macro] : macros) names.push_back(name);
  for (const std::string &name : names) {
    text again;
    call_macro(name, again);
  }
  forget_macros();
  return 0;
}
