#include "dev/lsp/symbols.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "dev/check/expression_text.h"
#include "dev/check/expressions_of_call.h"
#include "dev/page/literal.h"
#include "language/expression_reader.h"
#include "macro/macro_library.h"

namespace quillet::dev {

namespace {

// Operators one of whose parameters names a file, and which one; from the end, -1 is the last one.
struct file_parameter {
  std::string_view name;
  int index;
};

constexpr std::array file_parameters = {
    file_parameter{"include", -1}, file_parameter{"load", -1},    file_parameter{"macro_use", 0},
    file_parameter{"save", 0},     file_parameter{"-f", 0},       file_parameter{"find", 0},
    file_parameter{"stat", 1},     file_parameter{"imgsize", 0},  file_parameter{"gifsize", 0},
    file_parameter{"jpegsize", 0}, file_parameter{"download", 0}, file_parameter{"unlink", 0},
    file_parameter{"exec", 0},
};

// A machine for the reader of expressions that keeps the names.
struct name_collector {
  struct value {
    bool is_there = false;
  };
  std::vector<std::string_view> names;

  value number(double /*number*/, std::string_view /*read*/) { return {true}; }
  expression_status name(std::string_view name, value &read) {
    names.push_back(name);
    read = {true};
    return expression_status::ok;
  }
  value infix(operation /*meaning*/, const value & /*x*/, const value & /*y*/) { return {true}; }
  value prefix(operation /*meaning*/, const value & /*x*/) { return {true}; }
  void replaced() {}
};

class collector {
 public:
  explicit collector(const document &file) : file_(file) {}

  std::vector<symbol> collect() {
    for (const macro_block &each : file_.macros()) add_header(each);
    for (const template_text *body : file_.templates()) {
      macro_ = file_.macro_of(*body);
      if (macro_ != nullptr && !macro_->parameters.empty()) add_references();
      for_each_call(file_.text(), *body, [&](const call &each, auto) { add_call(each); });
    }
    return std::move(found_);
  }

 private:
  void add(symbol_kind kind, text_range range, bool is_definition = false) {
    found_.push_back({kind, std::string(file_.text(range)), range, is_definition, call_, macro_});
  }

  void add_header(const macro_block &each) {
    macro_ = &each;
    add(symbol_kind::macro, each.name, true);
    for (const text_range &name : each.parameters) add(symbol_kind::argument, name, true);
    macro_ = nullptr;
  }

  // The references to the arguments of a macro in its body.
  void add_references() {
    call_ = nullptr;
    const std::string_view names = file_.text({macro_->parameters.front().begin, macro_->parameters.back().end});
    const text_range body = macro_->body.range;
    for (std::size_t at = body.begin; (at = file_.text().find('$', at)) < body.end; ++at) {
      const std::string_view rest = file_.text({at + 1, body.end});
      std::size_t length = 0;
      if (rest.starts_with('$')) {
        ++at;
      } else if (!rest.empty() && find_parameter_name(names, rest, length) != 0) {
        add(symbol_kind::argument, {at + 1, at + 1 + length});
      }
    }
  }

  // Adds a parameter of the call under way whose value is known.
  void add_parameter(symbol_kind kind, std::size_t index, bool is_definition = false) {
    const std::optional<std::string> value = literal_parameter(file_, *call_, index);
    if (!value || value->empty()) return;
    found_.push_back({kind, *value, call_->parameters[index].range, is_definition, call_, macro_});
  }

  void add_call(const call &each) {
    call_ = &each;
    add(symbol_kind::operator_name, each.name);
    const std::string_view name = file_.text(each.name);
    const std::size_t count = each.parameters.size();
    if (name == "macro" || name == "macro_exists") {
      add_parameter(symbol_kind::macro, 0);
    } else if (name == "macro_new") {
      const macro_header header = split_header(file_.text(each.parameters[0].range));
      const std::size_t begin = each.parameters[0].range.begin;
      if (!header.name.empty()) add(symbol_kind::macro, {begin, begin + header.name.size()}, true);
    } else if (name == "var" || name == "for") {
      add_parameter(symbol_kind::variable, 0, count > 1);
    } else {
      add_tables(name, count);
      add_file(name, count);
    }
    for (const template_text *expression : expressions_of_call(file_, each)) add_expression(*expression);
    call_ = nullptr;
  }

  void add_tables(std::string_view name, std::size_t count) {
    if (name == "context") {
      add_parameter(symbol_kind::table, 0, true);
    } else if (name == "flip") {
      add_parameter(symbol_kind::table, 0);
    } else if (name == "config" && count > 1 && literal_parameter(file_, *call_, 0) == "join") {
      add_parameter(symbol_kind::table, 1);
    } else if (name == "locate") {
      add_parameter(symbol_kind::column, 0);
    } else if (name == "item") {
      add_parameter(symbol_kind::column, count - 1);
      const std::optional<std::string> first = literal_parameter(file_, *call_, 0);
      if (count == 2 && first != "prev" && first != "next") add_parameter(symbol_kind::table, 0);
    }
  }

  void add_file(std::string_view name, std::size_t count) {
    for (const file_parameter &each : file_parameters) {
      if (each.name != name) continue;
      const std::size_t index = each.index < 0 ? count - 1 : static_cast<std::size_t>(each.index);
      add_parameter(symbol_kind::file, index);
    }
  }

  // The variables of an expression.
  void add_expression(const template_text &expression) {
    const expression_text read = read_expression_text(file_.text(), expression);
    name_collector names;
    expression_reader<name_collector>(read.bytes, names).run();
    for (const std::string_view name : names.names) {
      if (name.empty() || holds_stand_in(name) || name.find(':') != std::string_view::npos) continue;
      const auto begin = static_cast<std::size_t>(name.data() - read.bytes.data());
      const text_range range = read.origin_of(begin, begin + name.size());
      if (range.size() == name.size()) add(symbol_kind::variable, range);
    }
  }

  const document &file_;
  std::vector<symbol> found_;
  const call *call_ = nullptr;
  const macro_block *macro_ = nullptr;
};

}  // namespace

std::vector<symbol> find_symbols(const document &file) { return collector(file).collect(); }

std::optional<symbol> symbol_at(const document &file, std::size_t offset) {
  std::optional<symbol> smallest;
  for (symbol &each : find_symbols(file)) {
    if (offset < each.range.begin || offset > each.range.end) continue;
    if (!smallest || each.range.size() < smallest->range.size()) smallest = std::move(each);
  }
  return smallest;
}

}  // namespace quillet::dev
