#include "core/variables.h"

#include <climits>
#include <memory>
#include <unordered_map>
#include <utility>

#include "core/keyed_hash.h"

namespace quillet {

namespace {

std::unordered_map<std::string_view, std::unique_ptr<variable>, keyed_hasher> variables;

}  // namespace

void variable::set(text value) {
  if (value.is_null()) return remove();
  value_ = std::move(value);
  holds_ = holding::text;
}

void variable::assign(std::string_view bytes) {
  if (bytes.empty()) return remove();
  value_.assign(bytes);
  holds_ = holding::text;
}

void variable::append(std::string_view bytes) {
  if (!exists()) return assign(bytes);
  if (holds_ == holding::integer) print_integer();
  value_.append(bytes);
  holds_ = holding::text;
}

void variable::remove() {
  value_.clear();
  holds_ = holding::nothing;
}

void variable::keep_number(double number) {
  if (holds_ != holding::text) return;
  number_ = number;
  holds_ = holding::text_and_number;
  if (!(number >= INT_MIN && number <= INT_MAX)) return;
  const int whole = static_cast<int>(number);
  if (value_.view() != decimal_digits(whole)) return;
  integer_ = whole;
  holds_ = holding::integer_and_text;
}

void variable::print_integer() {
  value_.assign(decimal_digits(integer_));
  holds_ = holding::integer_and_text;
}

variable *find_variable(std::string_view name) {
  const auto found = variables.find(name);
  return found == variables.end() ? nullptr : found->second.get();
}

variable &variable_named(std::string_view name) {
  if (variable *found = find_variable(name)) return *found;
  auto made = std::make_unique<variable>(name);
  variable &added = *made;
  variables.emplace(made->name(), std::move(made));
  return added;
}

void forget_variables() { variables.clear(); }

std::string_view variable_get(std::string_view name) {
  variable *const found = find_variable(name);
  return found == nullptr ? std::string_view() : found->value();
}

void variable_set(std::string_view name, text value) {
  if (!value.is_null()) return variable_named(name).set(std::move(value));
  if (variable *found = find_variable(name)) found->remove();
}

void variable_assign(std::string_view name, std::string_view bytes) {
  if (!bytes.empty()) return variable_named(name).assign(bytes);
  if (variable *found = find_variable(name)) found->remove();
}

void variable_append(std::string_view name, std::string_view bytes) {
  if (!bytes.empty()) variable_named(name).append(bytes);
}

}  // namespace quillet
