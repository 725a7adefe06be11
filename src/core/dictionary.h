// A sorted dictionary from text to values.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "core/text.h"

namespace quillet {

// Keys are unique, case-sensitive and kept in ascending byte order. The dictionary owns its keys and
// values. Looking up is logarithmic; inserting and removing move one pointer for each later entry.
template <class value_type>
struct dictionary {
  struct entry {
    text key;
    value_type value;
  };
  std::vector<std::unique_ptr<entry>> entries;
};

using string_dictionary = dictionary<text>;

// Byte order of two keys, as of unsigned bytes: negative, 0 or positive. An absent key (null) sorts
// before any present one; two absent keys are equal.
[[nodiscard]] int compare_keys(const text &a, const text &b);

// Whether storing the value means removing the entry.
[[nodiscard]] inline bool is_absent_value(const text &value) { return value.is_null(); }
template <class object>
[[nodiscard]] bool is_absent_value(const std::unique_ptr<object> &value) {
  return value == nullptr;
}

// Byte order of two present keys. Most keys differ in their first byte.
[[nodiscard]] inline int compare_bytes(std::string_view a, std::string_view b) {
  if (!a.empty() && !b.empty() && a.front() != b.front()) {
    return static_cast<unsigned char>(a.front()) - static_cast<unsigned char>(b.front());
  }
  return a.compare(b);
}

// Empties the dictionary.
template <class value_type>
void dictionary_init(dictionary<value_type> &d) {
  d.entries.clear();
}

// Whether `name` is a key. `position` becomes its place, or the place where it would be inserted.
template <class value_type>
bool dictionary_find(const dictionary<value_type> &d, std::string_view name, std::size_t &position) {
  std::size_t low = 0;
  std::size_t high = d.entries.size();
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    const int order = compare_bytes(d.entries[middle]->key, name);
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

// The value of `name`, null when it is no key. It lives until the entry is set or removed.
template <class value_type>
[[nodiscard]] const value_type *dictionary_get(const dictionary<value_type> &d, std::string_view name) {
  std::size_t position = 0;
  return dictionary_find(d, name, position) ? &d.entries[position]->value : nullptr;
}

// Removes the entry, if there is one.
template <class value_type>
void dictionary_remove(dictionary<value_type> &d, std::string_view name) {
  std::size_t position = 0;
  if (dictionary_find(d, name, position)) d.entries.erase(d.entries.begin() + static_cast<std::ptrdiff_t>(position));
}

// Stores the value under the name, in place of an earlier one. A null value removes the entry; an
// empty value that is present is kept.
template <class value_type>
void dictionary_set(dictionary<value_type> &d, std::string_view name, value_type value) {
  if (is_absent_value(value)) return dictionary_remove(d, name);
  std::size_t position = 0;
  if (dictionary_find(d, name, position)) {
    d.entries[position]->value = std::move(value);
    return;
  }
  auto entry = std::make_unique<typename dictionary<value_type>::entry>();
  entry->key = text(name);
  entry->value = std::move(value);
  d.entries.insert(d.entries.begin() + static_cast<std::ptrdiff_t>(position), std::move(entry));
}

// Whether `name` has a value.
template <class value_type>
[[nodiscard]] bool dictionary_exists(const dictionary<value_type> &d, std::string_view name) {
  return dictionary_get(d, name) != nullptr;
}

}  // namespace quillet
