// How places, values and times are shown to people.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "dev/run/observation.h"

namespace quillet::dev {

// A path as it is best read: relative where the file is below the working directory.
[[nodiscard]] std::string shown_path(std::string_view path);

// "www/page.html:3:5"; "?" where the place is not known.
[[nodiscard]] std::string shown_place(const observation &seen, const place &where);

// A value on one line: control bytes as escapes, and "..." where it is cut to so many bytes. `size` is that of the
// whole value, of which only the front may be there.
[[nodiscard]] std::string shown_value(std::string_view value, std::size_t size, std::size_t most);

// "^name[parameter;parameter]", cut to so many bytes.
[[nodiscard]] std::string shown_call(const observed_call &call, std::size_t most);

// Table, row and mode, where one of them is another than for a call before: "table goods, row 2, mode sql".
[[nodiscard]] std::string changed_state(const observed_call &call, const observed_call &before);

// What the first call is compared with: no table, the mode that a page begins with.
[[nodiscard]] observed_call call_of_no_state();

// Milliseconds with three digits after the point.
[[nodiscard]] std::string shown_time(std::int64_t nanoseconds);

}  // namespace quillet::dev
