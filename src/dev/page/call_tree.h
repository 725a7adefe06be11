// The calls in a template text, with the places of all their parts.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "core/prepared_brackets.h"
#include "dev/page/source_file.h"

namespace quillet::dev {

struct call;

// Why a "^" that a "[" follows makes no call.
enum class call_failure { never_closed, too_many_parameters };

// A "^", a name and a "[" that stay in the page as they are.
struct failed_call {
  text_range name;  // the "^" is the byte before it, the "[" the one after it
  call_failure reason;
};

// A part of a file's text that is evaluated. Ranges are offsets in the file's text (document.h).
struct template_text {
  text_range range;
  std::vector<call> calls;            // in their order
  std::vector<text_range> literals;   // what is between the calls, escapes as they are written
  std::vector<failed_call> failures;  // parts of the literals
};

// ^name[parameter;parameter]
struct call {
  text_range range;  // from the "^" to after the "]"
  text_range name;
  std::vector<template_text> parameters;  // without the backticks around a whole parameter
  int depth = 0;                          // the number of calls around it

  [[nodiscard]] std::size_t caret() const { return range.begin; }
  [[nodiscard]] std::size_t bracket() const { return name.end; }
};

// Finds the calls in parts of one text, which must outlive it.
class call_finder {
 public:
  explicit call_finder(std::string_view text) : text_(text), brackets_(text) {}
  // Calls nested deeper than they can be made are left out.
  [[nodiscard]] template_text find(text_range part) const;

 private:
  std::string_view text_;
  bracket_scope brackets_;
};

// Calls `use` for each call of the tree, outer ones first, with the calls around it, the outermost one first. What is
// inside the comment `^rem[...]` is passed over: it is never evaluated.
using call_user = std::function<void(const call &, std::span<const call *const> around)>;
void for_each_call(std::string_view text, const template_text &tree, const call_user &use);

// Calls `use` for each template text of the tree, the whole one first; comments are passed over.
using text_user = std::function<void(const template_text &, std::span<const call *const> around)>;
void for_each_text(std::string_view text, const template_text &tree, const text_user &use);

}  // namespace quillet::dev
