// The door to everything that is prepared: kept forms of texts, expressions, tables and keys, and faster ways to match,
// which never change a page's result. With the door shut, every page goes the plain way of the rules.
#pragma once

namespace quillet {

namespace preparation_door {
inline bool open = true;
}

// Whether prepared forms may be made and used.
[[nodiscard]] inline bool preparation_enabled() { return preparation_door::open; }

// Opens or shuts the door, between two requests: what was prepared before is not looked at again.
inline void enable_preparation(bool enabled) { preparation_door::open = enabled; }

}  // namespace quillet
