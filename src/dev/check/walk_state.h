// What is known of a page's variables, tables and macros at one point of its evaluation.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dev/check/walk_value.h"
#include "dev/page/document.h"

namespace quillet::dev {

struct known_variable {
  std::string name;
  walk_value value;
  bool has_decimals = false;  // it was set with a format for fractions
};

enum class table_presence : std::uint8_t { absent, possible, present };

struct known_table {
  std::string name;
  table_presence presence = table_presence::absent;
  bool is_named = false;                                    // its columns have names
  std::shared_ptr<const std::vector<std::string>> columns;  // null: they are not known
  const document *data = nullptr;                           // the file that it was loaded from, unchanged since
  std::vector<visitor_part> visitors;                       // what is in its cells
  bool is_shape_known = false;                              // `is_named` and `columns` say all
};

using column_list = std::shared_ptr<const std::vector<std::string>>;
[[nodiscard]] column_list share_columns(std::vector<std::string> names);

// A table that is there: without names of columns, and with these.
[[nodiscard]] known_table plain_table();
[[nodiscard]] known_table named_table(column_list columns);
// One that may be there, of any form.
[[nodiscard]] known_table possible_table();

struct known_macro {
  std::string name;
  const document *file = nullptr;
  std::string_view parameter_names;  // "who;why"
  const template_text *body = nullptr;
};

// Things by their names. A copy shares them all, so that a branch costs little.
template <class thing>
class named_things {
 public:
  using shared = std::shared_ptr<const thing>;

  [[nodiscard]] const thing *find(std::string_view name) const {
    const auto at = place_of(name);
    return at != things_.end() && (*at)->name == name ? at->get() : nullptr;
  }
  void put(thing added) {
    auto kept = std::make_shared<const thing>(std::move(added));
    const auto at = things_.begin() + (place_of(kept->name) - things_.cbegin());
    if (at != things_.end() && (*at)->name == kept->name) {
      *at = std::move(kept);
    } else {
      things_.insert(at, std::move(kept));
    }
  }
  void remove(std::string_view name) {
    const auto at = place_of(name);
    if (at != things_.end() && (*at)->name == name) things_.erase(at);
  }
  void clear() { things_.clear(); }
  [[nodiscard]] auto begin() const { return things_.begin(); }
  [[nodiscard]] auto end() const { return things_.end(); }

  // Of each name that is in one list or in both, `merge(a, b)` of the two, null where there is none. Where both are
  // the same thing it stays.
  template <class function>
  void join(const named_things &other, const function &merge) {
    std::vector<shared> joined;
    joined.reserve(std::max(things_.size(), other.things_.size()));
    auto a = things_.begin();
    auto b = other.things_.begin();
    while (a != things_.end() || b != other.things_.end()) {
      if (a != things_.end() && b != other.things_.end() && *a == *b) {
        joined.push_back(*a++);
        ++b;
        continue;
      }
      const bool has_a = a != things_.end() && (b == other.things_.end() || (*a)->name <= (*b)->name);
      const bool has_b = b != other.things_.end() && (a == things_.end() || (*b)->name <= (*a)->name);
      joined.push_back(std::make_shared<const thing>(merge(has_a ? a->get() : nullptr, has_b ? b->get() : nullptr)));
      if (has_a) ++a;
      if (has_b) ++b;
    }
    things_ = std::move(joined);
  }

 private:
  [[nodiscard]] auto place_of(std::string_view name) const {
    return std::lower_bound(things_.begin(), things_.end(), name,
                            [](const shared &each, std::string_view wanted) { return each->name < wanted; });
  }

  std::vector<shared> things_;  // sorted by name
};

struct walk_state {
  named_things<known_variable> variables;
  named_things<known_table> tables;
  named_things<known_macro> macros;
  std::optional<std::string> current_table = std::string();  // its name; nothing when that is not known
  bool variables_unknown = false;                            // there may be others, with any values
  bool tables_unknown = false;
  bool macros_unknown = false;

  // Something ran that may have changed anything.
  void forget_all();
  // What holds after either of two branches.
  void join(const walk_state &other);
};

// A state that several branches share until one of them changes it.
class shared_walk_state {
 public:
  shared_walk_state() : state_(std::make_shared<walk_state>()) {}

  const walk_state *operator->() const { return state_.get(); }
  const walk_state &operator*() const { return *state_; }
  [[nodiscard]] walk_state &change() {
    if (state_.use_count() > 1) state_ = std::make_shared<walk_state>(*state_);
    return *state_;
  }
  [[nodiscard]] bool is_same(const shared_walk_state &other) const { return state_ == other.state_; }
  void join(const shared_walk_state &other) {
    if (!is_same(other)) change().join(*other.state_);
  }

 private:
  std::shared_ptr<walk_state> state_;
};

}  // namespace quillet::dev
