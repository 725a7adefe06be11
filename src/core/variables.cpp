#include "core/variables.h"

#include <utility>

#include "core/dictionary.h"

namespace quillet {

namespace {
string_dictionary variables;
}

std::string_view variable_get(std::string_view name) {
  const text *value = dictionary_get(variables, name);
  return value == nullptr ? std::string_view() : value->view();
}

bool variable_exists(std::string_view name) { return dictionary_exists(variables, name); }

void variable_set(std::string_view name, text value) { dictionary_set(variables, name, std::move(value)); }

void variable_append(std::string_view name, std::string_view bytes) {
  std::size_t position = 0;
  if (dictionary_find(variables, name, position)) {
    variables.entries[position]->value.append(bytes);
  } else if (!bytes.empty()) {
    dictionary_set(variables, name, text(bytes));
  }
}

}  // namespace quillet
