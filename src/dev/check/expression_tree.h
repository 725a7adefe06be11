// An expression as it was read.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "dev/page/source_file.h"
#include "language/expression_arithmetic.h"
#include "language/expression_operations.h"

namespace quillet::dev {

inline constexpr int no_node = -1;

// A number, a name, or an operator and its operands.
struct expression_node {
  enum class kind : std::uint8_t { number, name, prefix, infix } what;
  operation meaning{};
  int left = no_node;
  int right = no_node;  // of a prefix operator, its operand
  double number = 0;
  std::size_t name = 0;  // its number among the names
  text_range range;      // in the expression
};

// What is read of an expression, in either way.
class expression_tree {
 public:
  explicit expression_tree(std::string_view expression) : expression_(expression) {}

  int add_number(double number, std::string_view read) {
    return add({.what = expression_node::kind::number, .number = number, .range = range_of(read)});
  }
  int add_name(std::string_view name) {
    const auto found = std::find(names_.begin(), names_.end(), name);
    const auto number = static_cast<std::size_t>(found - names_.begin());
    if (found == names_.end()) names_.push_back(name);
    return add({.what = expression_node::kind::name, .name = number, .range = range_of(name)});
  }
  int add_prefix(operation meaning, int operand) {
    return add({.what = expression_node::kind::prefix,
                .meaning = meaning,
                .right = operand,
                .range = nodes_[at(operand)].range});
  }
  int add_infix(operation meaning, int left, int right) {
    const text_range range{nodes_[at(left)].range.begin, nodes_[at(right)].range.end};
    return add(
        {.what = expression_node::kind::infix, .meaning = meaning, .left = left, .right = right, .range = range});
  }

  [[nodiscard]] const expression_node &operator[](int index) const { return nodes_[at(index)]; }
  [[nodiscard]] const std::vector<expression_node> &nodes() const { return nodes_; }
  [[nodiscard]] std::size_t name_count() const { return names_.size(); }

  // The value of the node with the names' values. Operands come before their operators.
  [[nodiscard]] double value(int root, const std::vector<double> &names) const {
    std::vector<double> values(at(root) + 1);
    for (std::size_t i = 0; i < values.size(); ++i) {
      const expression_node &each = nodes_[i];
      switch (each.what) {
        case expression_node::kind::number:
          values[i] = each.number;
          break;
        case expression_node::kind::name:
          values[i] = names[each.name];
          break;
        case expression_node::kind::prefix:
          values[i] = apply_prefix(each.meaning, values[at(each.right)]);
          break;
        case expression_node::kind::infix:
          values[i] = apply_infix(each.meaning, values[at(each.left)], values[at(each.right)]);
      }
    }
    return values.back();
  }

 private:
  static std::size_t at(int index) { return static_cast<std::size_t>(index); }
  int add(const expression_node &added) {
    nodes_.push_back(added);
    return static_cast<int>(nodes_.size()) - 1;
  }
  [[nodiscard]] text_range range_of(std::string_view part) const {
    if (part.empty()) return {};
    const auto begin = static_cast<std::size_t>(part.data() - expression_.data());
    return {begin, begin + part.size()};
  }

  std::string_view expression_;
  std::vector<std::string_view> names_;
  std::vector<expression_node> nodes_;
};

}  // namespace quillet::dev
