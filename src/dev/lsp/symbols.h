// The names in a file: what is defined, and where it is used.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "dev/page/document.h"

namespace quillet::dev {

enum class symbol_kind {
  operator_name,
  macro,
  variable,
  table,
  file,      // a name that an operator opens
  argument,  // of the macro in whose body or header it is
  column,
};

// A place where a name is. Ranges are offsets in the document's text.
struct symbol {
  symbol_kind kind;
  std::string name;
  text_range range;
  bool is_definition = false;
  const call *where = nullptr;         // the call that it is in
  const macro_block *macro = nullptr;  // the macro that it is in; of an argument the one it belongs to
};

// All of a file, in no particular order. Names that are computed are left out.
[[nodiscard]] std::vector<symbol> find_symbols(const document &file);

// The one at an offset, the smallest one where several are.
[[nodiscard]] std::optional<symbol> symbol_at(const document &file, std::size_t offset);

}  // namespace quillet::dev
