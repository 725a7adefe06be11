// text-line: lines that vanish, because they begin with "#", or define a macro, because they begin with "@", and text
// before the first definition. Comments are meant to vanish; only what looks like HTML, CSS or a script is found.
#include <algorithm>
#include <array>
#include <string>

#include "dev/check/rules.h"

namespace quillet::dev {

file_rule check_text_lines;

namespace {

constexpr std::array<std::string_view, 17> style_words = {
    "charset",   "container",      "counter-style", "document",  "font-face", "import",
    "keyframes", "layer",          "media",         "namespace", "page",      "property",
    "scope",     "starting-style", "supports",      "tailwind",  "viewport"};

bool is_name_char(char c) { return is_letter(c) || is_digit(c) || c == '-' || c == '_'; }

std::string_view leading_name(std::string_view text) {
  const auto end = std::find_if_not(text.begin(), text.end(), is_name_char);
  return text.substr(0, static_cast<std::size_t>(end - text.begin()));
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && is_white_space(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_white_space(text.back())) text.remove_suffix(1);
  return text;
}

// "#side {", "#side, .main {", "#side h2,": what follows the "#".
bool is_style_rule(std::string_view rest) {
  const std::string_view name = leading_name(rest);
  if (name.empty() || is_digit(name.front()) || name.front() == '-') return false;
  const std::string_view after = trimmed(rest.substr(name.size()));
  if (after.find_first_of("<^") != std::string_view::npos) return false;
  const std::size_t brace = after.find('{');
  if (brace != std::string_view::npos) {
    const std::string_view selector = after.substr(0, brace);
    const std::string_view declarations = trimmed(after.substr(brace + 1));
    return selector.find_first_of("?!") == std::string_view::npos && selector.find(": ") == std::string_view::npos &&
           (declarations.empty() || declarations.find(':') != std::string_view::npos);
  }
  return after == "," || (after.ends_with(',') && after.find_first_of(".:>+~[") != std::string_view::npos);
}

// "#fff;", "#1F3F77, #fff);", "#fff}": a color, and a value that ends.
bool is_color_value(std::string_view rest) {
  const std::string_view digits = leading_name(rest);
  if (digits.size() != 3 && digits.size() != 6 && digits.size() != 8) return false;
  if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string_view::npos) return false;
  const std::string_view after = trimmed(rest.substr(digits.size()));
  constexpr std::string_view ends = ";\"',})";
  constexpr std::string_view line_ends = ";\"',})>{";
  return !after.empty() && ends.find(after.front()) != std::string_view::npos &&
         line_ends.find(after.back()) != std::string_view::npos;
}

// "#top">Up</a>": the rest of a tag that an earlier line has begun.
bool ends_attribute(std::string_view rest) {
  const std::string_view after = rest.substr(leading_name(rest).size());
  return after.size() > 1 && (after.front() == '"' || after.front() == '\'') &&
         (after[1] == '>' || after[1] == ' ' || after[1] == '/');
}

// "#side.hidden = 1" and the like in a script cannot begin a line; a private field "#count = 0;" can.
bool is_field(std::string_view rest) {
  const std::string_view name = leading_name(rest);
  if (name.empty() || is_digit(name.front()) || name.front() == '-') return false;
  const std::string_view after = trimmed(rest.substr(name.size()));
  return after == ";" || (after.starts_with('=') && after.ends_with(';'));
}

void check_vanishing(const document &file, finding_list &found) {
  const source_file &source = file.source();
  for (std::size_t number = 1; number <= source.line_count(); ++number) {
    const std::string_view line = source.line(number);
    if (!line.starts_with('#')) continue;
    const std::string_view rest = line.substr(1);
    if (!is_style_rule(rest) && !is_color_value(rest) && !ends_attribute(rest) && !is_field(rest)) continue;
    const std::size_t start = source.start_of_line(number);
    found.add_in_source("text-line", source, {start, start + line.size()},
                        "this line is dropped as a comment, because it begins with #; put a space before it",
                        {{"Put a space before #", {{{start, start}, " "}}}});
  }
}

// "@media print {", "@import url(x);", "@ann: hello".
bool is_no_macro(std::string_view header) {
  const std::string_view name = leading_name(header);
  const std::string_view after = trimmed(header.substr(name.size()));
  if (after.starts_with('[')) return false;
  if (name.starts_with("-webkit-") || name.starts_with("-moz-")) return true;
  const bool is_style = std::find(style_words.begin(), style_words.end(), name) != style_words.end();
  if (is_style && (after.find_first_of("{;(\"") != std::string_view::npos || name == "font-face")) return true;
  return after.find_first_of("{};<>(") != std::string_view::npos;
}

void check_definitions(const document &file, finding_list &found) {
  for (const macro_block &each : file.macros()) {
    const std::string_view header = file.text(each.header).substr(1);
    const std::size_t start = file.source_offset(each.header.begin);
    if (is_no_macro(header)) {
      found.add("text-line", file, each.header,
                "this line defines a macro, because it begins with @; put a space before it",
                {{"Put a space before @", {{{start, start}, " "}}}});
    } else if (header.find('[') == std::string_view::npos && header.ends_with(' ')) {
      found.add("text-line", file, each.header, "the blank at the end belongs to the name of this macro; remove it");
    }
  }
}

// Text that nobody sees: only a page's own text, or calls and HTML in a macro file, where prose is a note.
void check_before(const document &file, finding_list &found) {
  const std::string_view before = file.text(file.before_macros());
  const std::string_view shown = trimmed(before);
  if (shown.empty()) return;
  if (file.kind() == document_kind::macros && shown.find_first_of("<^") == std::string_view::npos) return;
  const auto begin = static_cast<std::size_t>(shown.data() - file.text().data());
  found.add("text-line", file, {begin, begin + shown.size()},
            "text before the first definition is never shown; put it into a macro");
}

}  // namespace

void check_text_lines(const document &file, const checked_site & /*in*/, finding_list &found) {
  if (file.kind() == document_kind::data) return;
  check_vanishing(file, found);
  if (file.kind() == document_kind::included) return;
  check_definitions(file, found);
  check_before(file, found);
}

}  // namespace quillet::dev
