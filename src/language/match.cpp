#include "language/match.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "core/evaluator.h"
#include "core/operators.h"
#include "core/quoting.h"
#include "table/registry.h"

namespace quillet {

namespace {

using shared_expression = std::shared_ptr<const regular_expression>;

// An expression and the text that it is matched against; the tables of its matches share it.
struct match_subject {
  shared_expression expression;
  text bytes;
  unsigned long numbering = new_numbering();

  match_subject(shared_expression matched, text &&source) : expression(std::move(matched)), bytes(std::move(source)) {
    bytes.pad();
  }
};
using shared_subject = std::shared_ptr<const match_subject>;

// In place of the row until somebody reads it.
constexpr char unmade_mark[] = "";
constexpr std::string_view unmade_row(unmade_mark);

// The table of one match: a row with the columns "match", "\1", "\2" ... for the groups, "prematch" and
// "postmatch". Only what is read is made: a cell from its place in the subject, the row as a whole when it is
// used as one. Making each row at once takes a hundred times the instructions for 5,000 replacements in 200 kB.
class match_table : public table_named {
 public:
  // The match is looked for from `offset` on, as if the subject began there.
  match_table(shared_subject subject, std::size_t offset, std::vector<regmatch_t> pieces)
      : table_named(std::string_view()), subject_(std::move(subject)), offset_(offset), pieces_(std::move(pieces)) {
    append(unmade_row);
    set_numbering(subject_->numbering);
  }

  [[nodiscard]] std::string_view row(int index) const override {
    const std::string_view bytes = table_named::row(index);
    return is_unmade(bytes) ? made_row() : bytes;
  }

  [[nodiscard]] std::string_view item(int column) override {
    if (current() < 0 || current() >= count() || !is_unmade(table_named::row(current()))) {
      return table_named::item(column);
    }
    const std::string_view piece = column < column_count() ? piece_at(std::max(column, 0)) : std::string_view();
    if (piece.find('\t') == std::string_view::npos) return piece;
    cell_ = text(piece);
    tabs_to_blanks(cell_);
    cell_.pad();
    return cell_;
  }

  [[nodiscard]] std::optional<int> column_number(std::string_view column) override {
    if (all_digits(column)) return parse_int(column);
    if (column == "match") return 0;
    if (column == "prematch") return group_count() + 1;
    if (column == "postmatch") return group_count() + 2;
    if (!column.starts_with('\\') || column.starts_with("\\0") || !all_digits(column.substr(1))) return {};
    const int group = parse_int(column.substr(1));
    return group <= group_count() ? std::optional(group) : std::nullopt;
  }

 private:
  [[nodiscard]] static bool is_unmade(std::string_view bytes) { return bytes.data() == unmade_row.data(); }
  [[nodiscard]] int group_count() const { return static_cast<int>(subject_->expression->group_count()); }
  [[nodiscard]] int column_count() const { return group_count() + 3; }

  [[nodiscard]] std::string_view piece_at(int column) const {
    const std::string_view from_offset = substring(subject_->bytes, offset_, std::string_view::npos);
    if (column == group_count() + 1) return from_offset.substr(0, static_cast<std::size_t>(pieces_[0].rm_so));
    if (column == group_count() + 2) return from_offset.substr(static_cast<std::size_t>(pieces_[0].rm_eo));
    const regmatch_t &piece = pieces_[static_cast<std::size_t>(column)];
    if (piece.rm_so < 0) return {};  // a group that took no part
    return from_offset.substr(static_cast<std::size_t>(piece.rm_so),
                              static_cast<std::size_t>(piece.rm_eo - piece.rm_so));
  }

  [[nodiscard]] std::string_view made_row() const {
    if (!row_.is_null()) return row_;
    for (int column = 0; column < column_count(); ++column) {
      if (column > 0) row_.append('\t');
      text piece(piece_at(column));
      tabs_to_blanks(piece);
      row_.append(piece);
    }
    row_.pad();
    return row_;
  }

  shared_subject subject_;
  std::size_t offset_;
  std::vector<regmatch_t> pieces_;  // the match and its groups
  mutable text row_;
  text cell_;
};

// Whether the options hold the letter, in either case.
bool has_option(std::string_view options, char letter) {
  return options.find(letter) != std::string_view::npos || options.find(upper_char(letter)) != std::string_view::npos;
}

// The expression with the escapes that the C library does not know put in its terms. A pair of
// backslashes is set aside meanwhile, so that what follows it is no escape.
text rewrite_escapes(std::string_view source) {
  // Deliberate: a pair of backslashes is set aside under a name that an expression may hold itself.
  constexpr std::string_view pair = "[[:BACKSLASH:]]";
  constexpr std::pair<std::string_view, std::string_view> steps[] = {
      {"\\\\", pair}, {"\\n", "\n"}, {"\\t", "\t"}, {"\\d", "[[:digit:]]"}, {"\\s", "[[:space:]]"}, {pair, "\\\\"},
  };
  text expression = text_or_null(source);
  for (const auto &[find, with] : steps) {
    if (expression.view().find(find) != std::string_view::npos) expression = replace_all(find, with, expression);
  }
  return expression;
}

// Whether the text has a match, or what its groups are, as a table.
void test(const shared_expression &expression, std::string_view source, text &out) {
  const bool has_groups = expression->group_count() > 0;
  std::vector<regmatch_t> pieces(expression->group_count() + 1);
  const int result = expression->match(source, pieces);
  if (result == REG_NOMATCH) {
    if (has_groups) remove_current_table();
  } else if (result != 0) {
    expression->append_error(result, out);
  } else if (has_groups) {
    auto subject = std::make_shared<match_subject>(expression, text(source));
    put_table(std::make_unique<match_table>(std::move(subject), 0, std::move(pieces)));
  } else {
    out.append("yes");
  }
}

// The text with its first match, or all of them, replaced. Each match is looked for in what is left of
// the text, as a text of its own, and never in what a replacement gave.
void replace(const shared_subject &subject, std::string_view replacement, bool all, text &out) {
  const loop_scope scope(replacement);
  const std::size_t before = out.size();
  match_search search(*subject->expression, subject->bytes);
  std::size_t offset = 0;
  do {
    const std::string_view rest = subject->bytes.view().substr(offset);
    std::vector<regmatch_t> pieces(subject->expression->group_count() + 1);
    const int result = search.find(offset, pieces);
    if (result == REG_NOMATCH) break;
    if (result != 0) {
      out.truncate(before);
      return subject->expression->append_error(result, out);
    }
    const regmatch_t whole = pieces[0];
    const table_name_scope name("match");
    put_table(std::make_unique<match_table>(subject, offset, std::move(pieces)));
    out.append(rest.substr(0, static_cast<std::size_t>(whole.rm_so)));
    evaluate(replacement, out);
    offset += static_cast<std::size_t>(whole.rm_eo);
    if (whole.rm_so < whole.rm_eo) continue;
    // A match of nothing would be found here forever: the next byte is left as it is.
    if (offset == subject->bytes.size()) break;
    out.append(subject->bytes.view()[offset++]);
  } while (all);
  out.append(subject->bytes.view().substr(offset));
}

// ^match[expression;text]
// ^match[expression;options;text]
// ^match[expression;options;replacement;text]
//
// Looks for a POSIX extended regular expression, in which "\n", "\t", "\d" and "\s" also mean a
// line feed, a tab, a digit and white space.
//
// Without a replacement and without groups in the expression: "yes" when the text has a match. With
// groups: the first match as the current table, one row with the columns "match", "\1", "\2" ... for
// the groups, "prematch" and "postmatch"; no text; without a match the current table is removed.
//
// With a replacement: the text with the first match replaced. The replacement is evaluated with the
// match as the current table, whose name is "match". The expression is not quoted.
//
// `options`: "i" ignores case, "n" lets "^" and "$" match at line breaks, "g" replaces every match.
//
// [regex error: the C library's message]
void op_match(parameters &parameters, text &out) {
  if (parameters.count() != 4) {
    evaluate_parameters_quoted(quoting_none, parameters);
    if (parameters.count() < 2 || parameters.last().empty()) return;
    const shared_expression expression = compile_match(parameters[0], parameters.count() > 2 ? parameters[1] : "");
    if (expression->error() != 0) return expression->append_error(expression->error(), out);
    return test(expression, parameters.last(), out);
  }
  {
    const quoting_scope scope(quoting_none);
    parameters.evaluate_in_place(0);
    parameters.evaluate_in_place(1);
  }
  text source = evaluate_copy(parameters[3]);
  if (source.is_empty()) return;
  shared_expression expression = compile_match(parameters[0], parameters[1]);
  if (expression->error() != 0) return expression->append_error(expression->error(), out);
  const auto subject = std::make_shared<match_subject>(std::move(expression), std::move(source));
  replace(subject, parameters[2], has_option(parameters[1], 'g'), out);
}

constexpr operator_definition definitions[] = {
    {"match", op_match, 0, lazy,
     "^match[expression;text] ^match[expression;options;text] ^match[expression;options;replacement;text]",
     "Matches a regular expression, or replaces what it matches."},
};

}  // namespace

std::shared_ptr<const regular_expression> compile_match(std::string_view expression, std::string_view options) {
  const int flags = (has_option(options, 'i') ? REG_ICASE : 0) | (has_option(options, 'n') ? REG_NEWLINE : 0);
  return compile_expression(rewrite_escapes(expression), flags);
}

extern const operator_module match_operators{"language/match.cpp", definitions};

}  // namespace quillet
