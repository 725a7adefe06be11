#include "dev/check/expressions_of_call.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "dev/page/literal.h"

namespace quillet::dev {

namespace {

// Whether the operation of `var` is a format, which is followed by an expression.
bool is_format(std::string_view operation) {
  return operation.size() != 1 || std::string_view("+-*/.").find(operation.front()) == std::string_view::npos;
}

}  // namespace

std::vector<const template_text *> expressions_of_call(const document &file, const call &each) {
  const std::string_view name = file.text(each.name);
  const std::vector<template_text> &given = each.parameters;
  if (name == "eval" || name == "if" || name == "while") return {&given[0]};
  if (name == "for" && given.size() >= 3) return {&given[1], &given[2]};
  if (name == "var" && given.size() >= 3 && format_of_call(file, each)) return {&given[2]};
  return {};
}

std::optional<std::size_t> format_of_call(const document &file, const call &each) {
  const std::string_view name = file.text(each.name);
  if (each.parameters.size() < (name == "var" ? 3U : 2U)) return {};
  if (name == "eval") return 1;
  if (name != "var") return {};
  const std::optional<std::string> operation = literal_parameter(file, each, 1);
  return operation && is_format(*operation) ? std::optional<std::size_t>(1) : std::nullopt;
}

}  // namespace quillet::dev
