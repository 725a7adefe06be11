// A sorted dictionary from text to text.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "core/text.h"

namespace quillet {

// Keys are unique, case-sensitive and kept in ascending byte order. The dictionary owns its keys and
// values. Looking up is logarithmic; inserting and removing move one pointer for each later entry.
struct string_dictionary {
  struct entry {
    text key;
    text value;
  };
  std::vector<std::unique_ptr<entry>> entries;
};

// Byte order of two keys, as of unsigned bytes: negative, 0 or positive. An absent key (null) sorts
// before any present one; two absent keys are equal.
[[nodiscard]] int compare_keys(const text &a, const text &b);

// Empties the dictionary.
void dictionary_init(string_dictionary &d);
// Whether `name` is a key. `position` becomes its place, or the place where it would be inserted.
bool dictionary_find(const string_dictionary &d, std::string_view name, std::size_t &position);
// The value of `name`, null when it is no key. It lives until the entry is set or removed.
[[nodiscard]] const text *dictionary_get(const string_dictionary &d, std::string_view name);
// Stores the value under the name, in place of an earlier one. A null value removes the entry; an
// empty value that is present is kept.
void dictionary_set(string_dictionary &d, std::string_view name, text value);
// Removes the entry, if there is one.
void dictionary_remove(string_dictionary &d, std::string_view name);
// Whether `name` has a value.
[[nodiscard]] bool dictionary_exists(const string_dictionary &d, std::string_view name);

}  // namespace quillet
