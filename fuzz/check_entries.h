// What must hold of every form entry, whatever it was decoded from.
#pragma once

#include <cstdlib>
#include <string_view>

#include "cgi/form.h"

namespace quillet_fuzz {

inline void require(bool holds) {
  if (!holds) std::abort();
}

inline void check_entries(std::string_view input) {
  using namespace quillet;
  const auto in_input = [input](std::string_view part) {
    return part.empty() || (part.data() >= input.data() && part.data() + part.size() <= input.data() + input.size());
  };
  std::size_t checked = 0;
  for (const form_entry entry : form_entries()) {
    require(entry.name.find('\0') == std::string_view::npos);
    require(entry.file_name.find('\0') == std::string_view::npos);
    if (++checked > 50) continue;  // the look-ups below walk the list
    require(in_input(entry.value));
    const std::optional<form_entry> found = find_form_entry(entry.name);
    require(found && found->name == entry.name);
    text whole;
    append_form_text(*found, whole);
    require(whole.view().find('\r') == std::string_view::npos && whole.view().find('\0') == std::string_view::npos);
  }
}

}  // namespace quillet_fuzz
