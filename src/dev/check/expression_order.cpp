#include "dev/check/expression_order.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "dev/check/expression_tree.h"
#include "language/expression_reader.h"
#include "language/number_reading.h"

namespace quillet::dev {

namespace {

// The language's own reading.
struct own_reading {
  // A node; 0 when it is made means that there is none.
  struct value {
    int above = 0;
  };
  explicit own_reading(expression_tree &to) : tree(to) {}

  expression_tree &tree;
  bool certain = true;

  value number(double number, std::string_view read) { return {tree.add_number(number, read) + 1}; }
  expression_status name(std::string_view name, value &read) {
    if (holds_stand_in(name) && !is_stand_in(name)) certain = false;
    read = {tree.add_name(name) + 1};
    return expression_status::ok;
  }
  value infix(operation meaning, const value &x, const value &y) {
    const int left = index_of(x);
    return {tree.add_infix(meaning, left, index_of(y)) + 1};
  }
  value prefix(operation meaning, const value &x) { return {tree.add_prefix(meaning, index_of(x)) + 1}; }
  void replaced() {}

 private:
  // An empty group is 0.
  int index_of(const value &read) { return read.above == 0 ? tree.add_number(0, {}) : read.above - 1; }
};

// How tightly an infix operator binds in C.
int usual_precedence(operation meaning) {
  switch (meaning) {
    case operation::multiply:
    case operation::divide:
    case operation::remainder:
      return 10;
    case operation::add:
    case operation::subtract:
      return 9;
    case operation::shift_left:
    case operation::shift_right:
      return 8;
    case operation::less:
    case operation::greater:
    case operation::less_or_equal:
    case operation::greater_or_equal:
      return 7;
    case operation::equal:
    case operation::not_equal:
      return 6;
    case operation::bit_and:
      return 5;
    case operation::bit_xor:
      return 4;
    case operation::bit_or:
      return 3;
    case operation::logical_and:
      return 2;
    default:
      return 1;
  }
}

// Reads an expression, known to be a correct one, as in C. Parentheses and prefix operators nest at most this deep.
constexpr int deepest_nesting = 200;

class usual_reading {
 public:
  usual_reading(std::string_view expression, expression_tree &tree) : rest_(expression), tree_(tree) {}

  // no_node when it cannot be read so.
  int run() {
    const int root = read_infix(0);
    return rest_.empty() ? root : no_node;
  }

 private:
  int read_infix(int least) {
    int left = read_operand();
    while (left != no_node && !rest_.empty()) {
      const expression_token *const found = find_expression_token(rest_);
      if (found == nullptr || found->precedence == prefix_operator) break;
      const int precedence = usual_precedence(found->meaning);
      if (precedence <= least) break;
      rest_.remove_prefix(found->spelling.size());
      const int right = read_infix(precedence);
      left = right == no_node ? no_node : tree_.add_infix(found->meaning, left, right);
    }
    return left;
  }

  int read_operand() {
    if (rest_.empty() || depth_ == deepest_nesting) return no_node;
    ++depth_;
    const int read = read_nested();
    --depth_;
    return read;
  }

  int read_nested() {
    if (rest_.front() == '(') {
      rest_.remove_prefix(1);
      const int inner = read_infix(0);
      if (inner == no_node || !rest_.starts_with(')')) return no_node;
      rest_.remove_prefix(1);
      return inner;
    }
    if (const int number = read_numbers(); number != no_node) return number;
    if (const expression_token *const found = find_expression_token(rest_); found != nullptr) {
      if (found->precedence != prefix_operator) return no_node;
      rest_.remove_prefix(found->spelling.size());
      const int operand = read_operand();
      return operand == no_node ? no_node : tree_.add_prefix(found->meaning, operand);
    }
    if (!is_name_start(rest_.front())) return no_node;
    std::size_t length = 1;
    while (length < rest_.size() && is_name_byte(rest_[length])) ++length;
    return tree_.add_name(take(length));
  }

  // `0.5` is read as two numbers, of which the last one counts.
  int read_numbers() {
    int read = no_node;
    while (!rest_.empty() && (read == no_node || is_digit(rest_.front()) || rest_.front() == '.')) {
      const number_reading number = read_number(rest_);
      if (number.length == 0) break;
      read = tree_.add_number(number.value, take(number.length));
    }
    return read;
  }

  std::string_view take(std::size_t length) {
    const std::string_view taken = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return taken;
  }

  std::string_view rest_;
  expression_tree &tree_;
  int depth_ = 0;
};

// Values that names are tried with: everyday ones, and those beside the numbers of the expression.
std::vector<double> sample_values(const expression_tree &tree) {
  std::vector<double> samples = {0, 1, 2, -1, 0.5, 7};
  for (const expression_node &each : tree.nodes()) {
    if (each.what != expression_node::kind::number || samples.size() > 16) continue;
    for (const double step : {-1.0, 0.0, 1.0}) samples.push_back(each.number + step);
  }
  return samples;
}

// Whether some values of the names give the two nodes different values.
bool can_differ(const expression_tree &tree, int own, int usual) {
  constexpr int trials = 3000;
  const std::vector<double> samples = sample_values(tree);
  std::vector<double> names(tree.name_count());
  std::mt19937 random(1);  // the same values in every run
  for (int trial = 0; trial < trials; ++trial) {
    for (double &value : names) value = samples[random() % samples.size()];
    const double a = tree.value(own, names);
    const double b = tree.value(usual, names);
    if (a != b && !(std::isnan(a) && std::isnan(b)) && !(std::fabs(a - b) <= std::fabs(a) * 1e-9)) return true;
  }
  return false;
}

// The range of an operand with the parentheses around it.
text_range with_parentheses(std::string_view expression, text_range range) {
  int open = 0;
  for (std::size_t i = range.begin; i < range.end; ++i) open += (expression[i] == '(') - (expression[i] == ')');
  for (; open > 0 && range.end < expression.size() && expression[range.end] == ')'; --open) ++range.end;
  for (; open < 0 && range.begin > 0 && expression[range.begin - 1] == '('; ++open) --range.begin;
  return range;
}

// The first operator that takes the result of one that binds less tightly in C, without parentheses around it.
std::optional<order_surprise> find_operator(std::string_view expression, const expression_tree &tree, int root) {
  std::optional<order_surprise> first;
  for (int i = 0; i <= root; ++i) {
    const expression_node &each = tree[i];
    if (each.what != expression_node::kind::infix || tree[each.left].what != expression_node::kind::infix) continue;
    const expression_node &left = tree[each.left];
    if (usual_precedence(left.meaning) >= usual_precedence(each.meaning)) continue;
    const text_range taken = with_parentheses(expression, left.range);
    if (taken.end >= expression.size() || expression[taken.end] == ')') continue;
    if (first && first->sign.begin <= taken.end) continue;
    const text_range right = with_parentheses(expression, tree[each.right].range);
    const text_range operand = with_parentheses(expression, tree[left.right].range);
    const expression_token *const sign = find_expression_token(expression.substr(taken.end));
    if (sign == nullptr) continue;
    first = order_surprise{{taken.end, taken.end + sign->spelling.size()}, taken, {operand.begin, right.end}};
  }
  return first;
}

}  // namespace

std::optional<order_surprise> find_order_surprise(std::string_view expression) {
  expression_tree tree(expression);
  own_reading machine(tree);
  const auto own = expression_reader<own_reading>(expression, machine).run();
  if (own.status != expression_status::ok || !machine.certain || own.result.above == 0) return {};
  const int own_root = own.result.above - 1;
  const std::optional<order_surprise> found = find_operator(expression, tree, own_root);
  if (!found) return {};
  const int usual_root = usual_reading(expression, tree).run();
  return usual_root != no_node && can_differ(tree, own_root, usual_root) ? found : std::nullopt;
}

}  // namespace quillet::dev
