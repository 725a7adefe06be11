#include "core/variables.h"

#include <utility>

#include "core/dictionary.h"

namespace quillet {

namespace {

string_dictionary variables;

// The entry found last: a page asks for the same variable again and again.
std::size_t last_position = 0;

// Whether there is a variable of that name; `position` becomes its place.
bool find_variable(std::string_view name, std::size_t &position) {
  if (last_position < variables.entries.size() && equal_names(variables.entries[last_position]->key, name)) {
    position = last_position;
    return true;
  }
  if (!dictionary_find(variables, name, position)) return false;
  last_position = position;
  return true;
}

}  // namespace

std::string_view variable_get(std::string_view name) {
  std::size_t position = 0;
  return find_variable(name, position) ? variables.entries[position]->value.view() : std::string_view();
}

bool variable_exists(std::string_view name) { return dictionary_exists(variables, name); }

void variable_set(std::string_view name, text value) {
  std::size_t position = 0;
  if (!value.is_null() && find_variable(name, position)) {
    variables.entries[position]->value = std::move(value);
  } else {
    dictionary_set(variables, name, std::move(value));
  }
}

void variable_assign(std::string_view name, std::string_view bytes) {
  std::size_t position = 0;
  if (bytes.empty() || !find_variable(name, position)) return variable_set(name, copy_prefix(bytes, bytes.size()));
  variables.entries[position]->value.assign(bytes);
}

void variable_append(std::string_view name, std::string_view bytes) {
  std::size_t position = 0;
  if (find_variable(name, position)) {
    variables.entries[position]->value.append(bytes);
  } else if (!bytes.empty()) {
    dictionary_set(variables, name, text(bytes));
  }
}

void forget_variables() { dictionary_init(variables); }

}  // namespace quillet
