// What is known of a page's variables, tables and macros at one point of its evaluation.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
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

struct known_macro {
  std::string name;
  const document *file = nullptr;
  std::string_view parameter_names;  // "who;why"
  const template_text *body = nullptr;
};

class walk_state {
 public:
  // Null when there is nothing known of that name; see `others_unknown`.
  [[nodiscard]] const known_variable *variable(std::string_view name) const;
  [[nodiscard]] const known_table *table(std::string_view name) const;
  [[nodiscard]] const known_macro *macro(std::string_view name) const;

  void set_variable(known_variable value);
  void remove_variable(std::string_view name);
  void put_table(known_table made);
  void define_macro(known_macro defined);
  void remove_macro(std::string_view name);

  // Something ran that may have changed anything.
  void forget_all();
  // What holds after either of two branches.
  void join(const walk_state &other);

  std::optional<std::string> current_table = std::string();  // its name; nothing when that is not known
  bool variables_unknown = false;                            // there may be others, with any values
  bool tables_unknown = false;
  bool macros_unknown = false;

  [[nodiscard]] const std::vector<known_macro> &macros() const { return macros_; }
  [[nodiscard]] const std::vector<known_table> &tables() const { return tables_; }

 private:
  // Few of each: they are looked for one by one.
  std::vector<known_variable> variables_;
  std::vector<known_table> tables_;
  std::vector<known_macro> macros_;
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
