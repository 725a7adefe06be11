#include <algorithm>
#include <memory>
#include <utility>

#include "cgi/charset.h"
#include "core/operators.h"
#include "core/quoting.h"
#include "table/registry.h"

namespace quillet {

namespace {

void append_cell(std::string_view piece, text &row) {
  row.append(piece);
  row.append('\t');
}

// A new current table of this one row; a page's line feeds in it do not end it.
void put_row(std::string_view row) {
  auto made = std::make_unique<table>(std::string_view());
  made->append_row(row);
  put_table(std::move(made));
}

// ^rsplit[text;delimiter]
//
// Like `lsplit`, with the pieces in reverse order: the rightmost one is the first cell. Result: empty.
void op_rsplit(parameters &parameters, text &) {
  evaluate_parameters_quoted(quoting_config, parameters);
  std::string_view rest = parameters[0];
  text row;
  while (!parameters[1].empty()) {
    const std::string_view piece = cut_at_last_text(rest, parameters[1]);
    if (piece.data() == nullptr) break;
    append_cell(piece, row);
  }
  append_cell(rest, row);
  put_row(row);
}

// ^lsplit[text;delimiter]
//
// Cuts the text at each delimiter, a whole string. The pieces are the cells of the one row of a new
// current table, with an empty cell after the last one. An empty delimiter cuts nothing. Result: empty.
void op_lsplit(parameters &parameters, text &) {
  evaluate_parameters_quoted(quoting_config, parameters);
  std::string_view piece = parameters[0];
  text row;
  while (!parameters[1].empty()) {
    const std::string_view rest = cut_at_text(piece, parameters[1]);
    if (rest.data() == nullptr) break;
    append_cell(piece, row);
    piece = rest;
  }
  append_cell(piece, row);
  put_row(row);
}

// ^toupper[text]
//
// The text in upper case. Deliberate: of every byte above 127, letter or not, one bit is changed, as
// suits the source charset.
void op_toupper(parameters &parameters, text &out) {
  text changed(parameters[0]);
  upper_text(changed);
  out.append(changed);
}

// ^tolower[text]
//
// The text in lower case, by the same rule.
void op_tolower(parameters &parameters, text &out) {
  text changed(parameters[0]);
  lower_text(changed);
  out.append(changed);
}

// ^truncate[text;length]
//
// The first `length` bytes of `text` followed by "...", or `text` itself when it is not longer.
// `length`: bytes, decimal; negative or empty counts as 0. No text gives no text.
void op_truncate(parameters &parameters, text &out) {
  const auto length = static_cast<std::size_t>(std::max(0, parse_int(parameters[1])));
  out.append(parameters[0].substr(0, length));
  if (parameters[0].size() > length) out.append("...");
}

// ^unescape_br[text]
//
// The text with its line feeds shown in HTML: "<p>" for a pair of them, "<br>" for a single one, each
// followed by a line feed.
void op_unescape_br(parameters &parameters, text &out) {
  std::string_view rest = parameters[0];
  for (std::size_t feed; (feed = rest.find('\n')) != std::string_view::npos;) {
    out.append(rest.substr(0, feed));
    rest.remove_prefix(feed + 1);
    const bool is_pair = rest.starts_with('\n');
    out.append(is_pair ? "<p>\n" : "<br>\n");
    rest.remove_prefix(is_pair ? 1 : 0);
  }
  out.append(rest);
}

constexpr operator_definition definitions[] = {
    {"rsplit", op_rsplit, 2, lazy, "^rsplit[text;delimiter]", "Splits a text into a table, last piece first."},
    {"lsplit", op_lsplit, 2, lazy, "^lsplit[text;delimiter]", "Splits a text into a table."},
    {"toupper", op_toupper, 1, evaluated, "^toupper[text]", "A text in upper case."},
    {"tolower", op_tolower, 1, evaluated, "^tolower[text]", "A text in lower case."},
    {"truncate", op_truncate, 2, evaluated, "^truncate[text;length]", "Shortens a text."},
    {"unescape_br", op_unescape_br, 1, evaluated, "^unescape_br[text]", "A text with HTML line breaks."},
};

}  // namespace

extern const operator_module string_operators{"language/strings.cpp", definitions};

}  // namespace quillet
