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
    std::string_view value;
    require(form_value(entry.name, value) == form_success);
    require(in_input(entry.value) && in_input(value));
    text whole;
    const form_result result = form_string(entry.name, form_space_needed(entry.name), whole);
    require(result == form_success || result == form_empty);
    require(whole.view().find('\r') == std::string_view::npos && whole.view().find('\0') == std::string_view::npos);
    text cut;
    require(form_string(entry.name, 3, cut) != form_not_found);
    require(cut.size() <= 2 && whole.view().starts_with(cut));
    text appended;
    append_form_text(*find_form_entry(entry.name), appended);
    require(appended.view() == whole.view());
  }
}

}  // namespace quillet_fuzz
