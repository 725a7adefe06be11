#include "dev/lsp/completion.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "core/text.h"
#include "dev/check/known_words.h"
#include "dev/lsp/cursor.h"
#include "dev/lsp/operator_manual.h"
#include "dev/lsp/symbols.h"
#include "dev/page/literal.h"

namespace quillet::dev {

namespace {

bool is_word_byte(char c) { return is_letter(c) || is_digit(c) || c == '_' || c == '-'; }

std::size_t word_start(std::string_view before) {
  std::size_t start = before.size();
  while (start > 0 && is_word_byte(before[start - 1])) --start;
  return start;
}

// Whether the last byte is a "^" that no other "^" protects.
bool ends_with_caret(std::string_view before) {
  const std::size_t last = before.find_last_not_of('^');
  const std::size_t carets = before.size() - (last == std::string_view::npos ? 0 : last + 1);
  return carets % 2 == 1;
}

// "sum[${1:number};${2:number}]" for the form "^sum[number;number]". Parameters that may follow are left to the author.
std::string snippet_of(const call_form &form) {
  std::string snippet(form.label.substr(1, form.label.find('[')));
  int number = 0;
  for (const text_range &each : form.parameters) {
    const std::string_view name = form.label.substr(each.begin, each.size());
    if (name.find("...") != std::string_view::npos && number > 0) break;
    if (number > 0) snippet += ';';
    snippet += "${" + std::to_string(++number) + ":" + std::string(name == "..." ? "" : name) + "}";
  }
  return snippet + "]";
}

class completer {
 public:
  completer(workspace &files, const document &file, std::size_t offset)
      : files_(files), file_(file), offset_(offset), before_(file.text().substr(0, offset)) {
    start_ = word_start(before_);
  }

  completion_list complete() {
    const std::string_view mark = before_.substr(0, start_);
    if (ends_with_caret(mark)) {
      add_operators();
    } else if (mark.ends_with('$')) {
      add_arguments();
    } else if (const std::optional<open_call> call = open_call_at(file_, offset_)) {
      add_for_call(*call);
    }
    const std::size_t begin = file_.source_offset(start_);
    return {{begin, std::max(begin, file_.source_offset(offset_))}, std::move(items_)};
  }

 private:
  void add(completion_kind kind, std::string_view label, std::string detail) {
    if (label.empty() || !known_.insert(std::string(label)).second) return;
    items_.push_back({kind, std::string(label), std::move(detail), {}, {}});
  }

  void add_operators() {
    // With brackets already there only the name is replaced, the rest of it, too.
    std::size_t end = offset_;
    while (end < file_.text().size() && is_word_byte(file_.text()[end])) ++end;
    const bool has_bracket = file_.text().substr(end).starts_with('[');
    if (has_bracket) offset_ = end;
    for (const operator_definition *each : known_operators()) {
      const std::vector<call_form> forms = call_forms(*each);
      items_.push_back({completion_kind::operator_name, std::string(each->name), std::string(forms.front().label),
                        std::string(each->summary), has_bracket ? std::string() : snippet_of(forms.front())});
    }
  }

  void add_arguments() {
    for (const macro_block &each : file_.macros()) {
      if (offset_ < each.body.range.begin || offset_ > each.body.range.end) continue;
      const std::string header(file_.text(each.header));
      for (const text_range &name : each.parameters) add(completion_kind::argument, file_.text(name), header);
    }
  }

  void add_for_call(const open_call &call) {
    const std::size_t index = call.parameters.size() - 1;
    const bool is_first = index == 0;
    if (is_first) {
      for (const std::string_view word : known_words(call.name)) add(completion_kind::word, word, call.name);
    }
    if ((call.name == "macro" || call.name == "macro_exists") && is_first) {
      add_macros();
    } else if ((call.name == "var" || call.name == "for" || call.name == "if" || call.name == "eval" ||
                call.name == "while") &&
               is_first) {
      add_variables();
    } else if (call.name == "item" || (call.name == "locate" && is_first) || call.name == "sort") {
      add_columns();
    } else if (call.name == "load" && is_first) {
      add(completion_kind::word, "named", call.name);
    }
  }

  void add_macros() {
    for (const document *each : files_.linked_templates(file_.path())) {
      for (const macro_block &block : each->macros()) {
        add(completion_kind::macro, each->text(block.name), std::string(each->text(block.header)));
      }
    }
    for (const symbol &each : find_symbols(file_)) {
      if (each.kind == symbol_kind::macro && each.is_definition) add(completion_kind::macro, each.name, "");
    }
  }

  void add_variables() {
    for (const document *file : files_.linked_templates(file_.path())) {
      for (const symbol &each : find_symbols(*file)) {
        const bool is_other = file != &file_ || offset_ < each.range.begin || offset_ > each.range.end;
        if (each.kind == symbol_kind::variable && is_other) add(completion_kind::variable, each.name, "variable");
      }
    }
  }

  // The columns of the data files that the page loads and of the tables that it makes.
  void add_columns() {
    for (const document *data : files_.linked_data(file_.path())) {
      add_header(data->text(), data->path().substr(data->path().rfind('/') + 1));
    }
    for (const template_text *body : file_.templates()) {
      for_each_call(file_.text(), *body, [&](const call &each, auto) {
        if (!is_call_of(file_, each, "config") || each.parameters.size() < 2) return;
        if (literal_parameter(file_, each, 0) == "named") add_header(file_.text(each.parameters[1].range), "config");
      });
    }
  }
  void add_header(std::string_view rows, const std::string &of) {
    std::string_view header = rows.substr(0, rows.find('\n'));
    while (header.data() != nullptr && !header.empty()) add(completion_kind::column, next_token(header, '\t'), of);
  }

  workspace &files_;
  const document &file_;
  std::size_t offset_;
  std::string_view before_;
  std::size_t start_ = 0;  // of the word before the cursor
  std::vector<completion> items_;
  std::set<std::string> known_;
};

}  // namespace

completion_list complete_at(workspace &files, const document &file, std::size_t source_offset) {
  const std::optional<std::size_t> offset = text_offset(file, source_offset);
  if (!offset || file.kind() == document_kind::data) return {{source_offset, source_offset}, {}};
  return completer(files, file, *offset).complete();
}

}  // namespace quillet::dev
