// Fuzzes the evaluator with the operators that stay inside the process.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cgi/optimizer.h"
#include "core/evaluator.h"
#include "main/modules.h"

namespace {

void op_none(quillet::parameters &, quillet::text &) {}

bool stays_inside(std::string_view module) {
  return module == "cgi/optimizer.cpp" || module.starts_with("table/") ||
         (module.starts_with("language/") && module != "language/header.cpp" && module != "language/cookie.cpp");
}

// Left out, by taking their names first: what reads or writes files, and what may rightly run or grow
// without an end.
constexpr const char *left_out[] = {"load", "save", "for", "while", "table"};

// What a page may rightly repeat until time or memory ends (a walk whose body adds rows, a variable set
// to twice itself) works for so many calls of an input, then does nothing.
struct bounded_operator {
  const char *name;
  int calls;
  int left;
  quillet::operator_handler handler;
};

bounded_operator bounded[] = {{"var", 12, 0, {}}, {"config", 20, 0, {}}, {"menu", 50, 0, {}}, {"sort", 20, 0, {}}};

template <int number>
void op_bounded(quillet::parameters &parameters, quillet::text &out) {
  if (bounded[number].left-- > 0) bounded[number].handler(parameters, out);
}

template <int number>
void put_bound() {
  // The registry keeps its entries in memory that may be written; nobody else has a reason to.
  auto *entry = const_cast<quillet::operator_entry *>(quillet::find_operator(bounded[number].name));
  bounded[number].handler = entry->handler;
  entry->handler = op_bounded<number>;
  entry->prepare = nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  using namespace quillet;
  for (const char *name : left_out) register_operator(name, op_none, 0, evaluated);
  for (const operator_module *module : operator_modules()) {
    if (stays_inside(module->source)) register_operators(module->definitions);
  }
  put_bound<0>();
  put_bound<1>();
  put_bound<2>();
  put_bound<3>();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace quillet;
  const std::string source(until_nul({reinterpret_cast<const char *>(data), size}));
  for (bounded_operator &each : bounded) each.left = each.calls;
  text page;
  evaluate(source, page);
  optimize_output(page);
  if (page.view().find('\0') != std::string_view::npos) std::abort();
  forget_request();
  return 0;
}
