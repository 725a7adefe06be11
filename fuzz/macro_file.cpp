// Fuzzes macro files: the line filter, the definition blocks, `autoexec`, `main` and the calls in them.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/calls.h"
#include "core/file.h"
#include "macro/macro_library.h"
#include "main/modules.h"

namespace {

// The levels of calls that are left: a macro that doubles its argument and calls itself may rightly grow with each.
constexpr int levels = 5;

void op_none(quillet::parameters &, quillet::text &) {}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  quillet::register_operator("macro_use", op_none, 1, quillet::evaluated);  // reads files
  for (const quillet::operator_module *module : quillet::operator_modules()) {
    if (module->source.starts_with("macro/")) quillet::register_operators(module->definitions);
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace quillet;
  text source(std::string_view(reinterpret_cast<const char *>(data), size));
  filter_lines(source, false);
  if (source.view().find('\r') != std::string_view::npos || source.view().find("\n#") != std::string_view::npos) {
    std::abort();
  }
  forget_request();
  calls.depth = max_call_depth - levels;
  text output;
  define_macros(source, &output);
  for (std::string_view rest = source; !rest.empty();) {
    std::string_view name = next_token(rest, '\n');
    if (!name.starts_with('@')) continue;
    name.remove_prefix(1);
    cut_at_char(name, '[');
    text again;
    call_macro(name, {}, again);
  }
  return 0;
}
