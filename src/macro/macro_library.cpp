#include "macro/macro_library.h"

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/evaluator.h"
#include "core/keyed_hash.h"
#include "core/onlooker.h"

namespace quillet {

namespace {

struct {
  std::unordered_map<std::string, std::unique_ptr<macro>, keyed_hasher, std::equal_to<>> macros;
  std::vector<std::unique_ptr<macro>> outlived;  // redefined while they ran
  std::size_t kept_bytes = 0;                    // of the bodies with arguments that are kept
  unsigned long generation = 0;
} library;

// The bodies with arguments that are kept, so that a tree of calls with ever other arguments takes no more memory.
constexpr std::size_t most_kept_bytes = 256 * 1024;

// The macro taken out of the library; null when there is none.
std::unique_ptr<macro> take_macro(std::string_view name) {
  ++library.generation;
  const auto found = library.macros.find(name);
  if (found == library.macros.end()) return nullptr;
  std::unique_ptr<macro> taken = std::move(found->second);
  library.macros.erase(found);
  return taken;
}

// Puts a macro, or none, in place of the one of that name.
void put_macro(std::string_view name, std::unique_ptr<macro> defined) {
  std::unique_ptr<macro> replaced = take_macro(name);
  if (replaced != nullptr && replaced->running > 0) library.outlived.push_back(std::move(replaced));
  if (defined != nullptr) library.macros.emplace(name, std::move(defined));
}

// Takes a macro out of the library and puts it back, or removes it, when the scope ends.
class macro_set_aside {
 public:
  explicit macro_set_aside(std::string_view name) : name_(name), set_aside_(take_macro(name)) {}
  macro_set_aside(const macro_set_aside &) = delete;
  macro_set_aside &operator=(const macro_set_aside &) = delete;
  ~macro_set_aside() { put_macro(name_, std::move(set_aside_)); }

 private:
  std::string_view name_;
  std::unique_ptr<macro> set_aside_;
};

// A call of a macro, under way as long as the scope.
class macro_call_scope {
 public:
  explicit macro_call_scope(macro &called) : called_(called) { ++called_.running; }
  macro_call_scope(const macro_call_scope &) = delete;
  macro_call_scope &operator=(const macro_call_scope &) = delete;
  ~macro_call_scope() { --called_.running; }

 private:
  macro &called_;
};

// Reads the number of an argument reference, one digit or two, off the front of `rest`.
std::size_t take_number(std::string_view &rest) {
  std::size_t number = 0;
  for (int digits = 0; digits < 2 && !rest.empty() && is_digit(rest.front()); ++digits) {
    number = number * 10 + static_cast<std::size_t>(rest.front() - '0');
    rest.remove_prefix(1);
  }
  return number;
}

// Appends the body with its references replaced by the arguments to a text or a text of copies.
template <class text_type>
void put_arguments(std::string_view rest, std::span<const std::string_view> arguments, text_type &expanded) {
  std::size_t size = rest.size();
  for (const std::string_view argument : arguments) size += argument.size();
  expanded.reserve(size);  // enough when each argument is used once
  for (std::size_t dollar; (dollar = rest.find('$')) != std::string_view::npos;) {
    expanded.append(rest.substr(0, dollar));
    const std::string_view sign = rest.substr(dollar, 1);
    rest.remove_prefix(dollar + 1);
    if (!rest.empty() && is_digit(rest.front())) {
      const std::size_t number = take_number(rest);
      if (number >= 1 && number <= arguments.size()) expanded.append(arguments[number - 1]);
    } else {
      expanded.append(sign);
      if (rest.starts_with('$')) rest.remove_prefix(1);
    }
  }
  expanded.append(rest);
}

// Appends the body with its references by name turned into numbers, the same way.
template <class text_type>
void put_numbers(std::string_view names, std::string_view rest, text_type &named) {
  for (std::size_t dollar; (dollar = rest.find('$')) != std::string_view::npos;) {
    named.append(rest.substr(0, dollar + 1));
    rest.remove_prefix(dollar + 1);
    if (rest.starts_with('$')) {
      named.append(rest.substr(0, 1));
      rest.remove_prefix(1);
    } else if (rest.empty() || !is_digit(rest.front())) {
      std::size_t length = 0;
      if (const int number = find_parameter_name(names, rest, length); number != 0) {
        named.append(decimal_digits(number));
        rest.remove_prefix(length);
      } else {
        constexpr std::string_view message = "[macro param name not found]";
        named.append(message);
        tell_message(message, rest);
      }
    }
  }
  named.append(rest);
}

// The rest of `source` after its first line feed that is followed by "@"; nothing when there is none.
std::string_view after_next_header_mark(std::string_view source) {
  const std::size_t mark = source.find("\n@");
  return mark == std::string_view::npos ? std::string_view() : source.substr(mark + 1);
}

// Reads the definition blocks of a text; gives their number.
int read_definitions(std::string_view rest) {
  int count = 0;
  if (!rest.starts_with('@')) {
    const std::string_view before = rest;
    rest = after_next_header_mark(rest);
    if (!rest.empty()) {
      tell_dropped("the text before the first definition", before.substr(0, before.size() - rest.size()), before);
    }
  }
  for (macro_definition next; take_definition(rest, next); ++count) {
    text copy(next.body);
    tell_copy(copy, next.body);
    define_macro(next.header, std::move(copy));
  }
  return count;
}

}  // namespace

macro::macro(text &&numbered_body)
    : body(std::move(numbered_body)),
      refers_to_arguments(body.view().find('$') != std::string_view::npos),
      repeated(body) {}

text macro::with_arguments(std::span<const std::string_view> arguments) const {
  text expanded;
  if (is_watched()) {
    text_of_copies copies;
    put_arguments(body, arguments, copies);
    expanded = copies.take();
  } else {
    put_arguments(body, arguments, expanded);
  }
  return expanded;
}

repeated_text *macro::body_for(std::span<const std::string_view> arguments) {
  if (!refers_to_arguments) return &repeated;
  std::string key;
  for (const std::string_view argument : arguments) {
    key.append(argument);
    key.push_back('\0');  // no text has one
  }
  std::unique_ptr<kept_body> &kept = kept_bodies_[key];
  if (kept == nullptr) {
    if (library.kept_bytes > most_kept_bytes) return nullptr;
    kept = std::make_unique<kept_body>(with_arguments(arguments));
    library.kept_bytes += kept->body.size();
  }
  return &kept->repeated;
}

bool take_definition(std::string_view &rest, macro_definition &taken) {
  if (!rest.starts_with('@')) rest = after_next_header_mark(rest);
  while (!rest.empty()) {
    std::string_view body = rest;
    const std::string_view header = next_token(body, '\n');
    // Deliberate: a header without a body line defines nothing.
    if (body.starts_with('@')) {
      rest = body;
      continue;
    }
    if (body.data() == nullptr) break;
    rest = after_next_header_mark(body);
    if (!rest.empty()) body = body.substr(0, body.size() - rest.size() - 1);
    if (body.ends_with('\n')) body.remove_suffix(1);
    taken = {header.substr(1), body};
    return true;
  }
  return false;
}

macro_header split_header(std::string_view header) {
  macro_header parts{header, {}};
  parts.parameter_names = cut_at_char(parts.name, '[');
  cut_at_char(parts.parameter_names, ']');
  return parts;
}

macro *find_macro(std::string_view name) {
  if (name.empty()) return nullptr;
  const auto found = library.macros.find(name);
  return found == library.macros.end() ? nullptr : found->second.get();
}

void define_macro(std::string_view header, text body) {
  const macro_header parts = split_header(header);
  text numbered = name_parameters(parts.parameter_names, std::move(body));
  put_macro(parts.name, numbered.is_null() ? nullptr : std::make_unique<macro>(std::move(numbered)));
}

int find_parameter_name(std::string_view names, std::string_view reference, std::size_t &length) {
  for (int number = 1; names.data() != nullptr; ++number) {
    const std::string_view name = next_token(names, ';');
    // Deliberate: a name matches as a prefix, so with the names "a;ab" the reference "$ab" is "$1b".
    if (!name.empty() && reference.starts_with(name)) {
      length = name.size();
      return number;
    }
  }
  return 0;
}

text name_parameters(std::string_view names, text body) {
  if (names.empty() || body.is_empty()) return body;
  text named;
  if (is_watched()) {
    text_of_copies copies;
    put_numbers(names, body, copies);
    named = copies.take();
  } else {
    put_numbers(names, body, named);
  }
  return named;
}

namespace {

// Deliberate: the message about a macro without a name has no closing bracket.
void append_undefined(std::string_view name, text &out) {
  const text message = concat({"[undefined macro ", name, "]"});
  out.append(message);
  tell_message(message);
}

// Runs the `autoexec` that a file defines, whose output nobody gets.
void run_autoexec() {
  const macro *const called = find_macro("autoexec");
  if (called == nullptr) return;
  const std::string_view body = called->body;
  text discarded;
  call_macro("autoexec", {}, discarded);
  if (!discarded.is_empty()) tell_dropped("the output of autoexec", discarded, body);
}

}  // namespace

void call_macro(std::string_view name, std::span<const std::string_view> arguments, text &out) {
  macro *const called = find_macro(name);
  if (called == nullptr) return append_undefined(name, out);
  const macro_call_scope call(*called);
  const macro_body_scope body(name);
  if (called->refers_to_arguments) return evaluate(called->with_arguments(arguments).view(), out);
  if (!std::exchange(called->was_called, true)) return evaluate(called->body, out);
  called->repeated.evaluate(out);
}

int define_macros(std::string_view source, text *output) {
  if (source.empty()) return 0;
  const macro_set_aside autoexec("autoexec");
  const macro_set_aside main("main");
  const int count = read_definitions(source);
  run_autoexec();
  if (output != nullptr && find_macro("main") != nullptr) call_macro("main", {}, *output);
  return count;
}

unsigned long macro_generation() { return library.generation; }

void forget_macros() {
  library.macros.clear();
  library.outlived.clear();
  library.kept_bytes = 0;
  ++library.generation;
}

}  // namespace quillet
