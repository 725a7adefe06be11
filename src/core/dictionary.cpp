#include "core/dictionary.h"

#include <utility>

namespace quillet {

int compare_keys(const text &a, const text &b) {
  if (a.is_null() || b.is_null()) return static_cast<int>(b.is_null()) - static_cast<int>(a.is_null());
  return a.view().compare(b.view());
}

void dictionary_init(string_dictionary &d) { d.entries.clear(); }

bool dictionary_find(const string_dictionary &d, std::string_view name, std::size_t &position) {
  std::size_t low = 0;
  std::size_t high = d.entries.size();
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    const int order = d.entries[middle]->key.view().compare(name);
    if (order == 0) {
      position = middle;
      return true;
    }
    if (order < 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  position = low;
  return false;
}

const text *dictionary_get(const string_dictionary &d, std::string_view name) {
  std::size_t position = 0;
  return dictionary_find(d, name, position) ? &d.entries[position]->value : nullptr;
}

void dictionary_set(string_dictionary &d, std::string_view name, text value) {
  if (value.is_null()) return dictionary_remove(d, name);
  std::size_t position = 0;
  if (dictionary_find(d, name, position)) {
    d.entries[position]->value = std::move(value);
    return;
  }
  auto entry = std::make_unique<string_dictionary::entry>();
  entry->key = text(name);
  entry->value = std::move(value);
  d.entries.insert(d.entries.begin() + static_cast<std::ptrdiff_t>(position), std::move(entry));
}

void dictionary_remove(string_dictionary &d, std::string_view name) {
  std::size_t position = 0;
  if (dictionary_find(d, name, position)) d.entries.erase(d.entries.begin() + static_cast<std::ptrdiff_t>(position));
}

bool dictionary_exists(const string_dictionary &d, std::string_view name) { return dictionary_get(d, name) != nullptr; }

}  // namespace quillet
