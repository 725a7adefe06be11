// Following a page: what visitors send, and where it ends up.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "core/quoting.h"
#include "core/text.h"
#include "dev/check/page_walk.h"
#include "dev/check/walk_scopes.h"

namespace quillet::dev {

namespace {

constexpr std::string_view request_variables[] = {"QUERY_STRING", "REQUEST_URI", "PATH_INFO", "CONTENT_TYPE"};

bool is_from_visitor(std::string_view variable) {
  if (variable == "HTTP_HOST") return false;  // in addresses it is right
  return variable.starts_with("HTTP_") ||
         std::find(std::begin(request_variables), std::end(request_variables), variable) != std::end(request_variables);
}

bool equal_ignoring_case(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return lower_char(x) == lower_char(y); });
}

// What is wrong with a visitor's value at that place of a page; nothing when all is well.
std::string_view page_mistake(const html_place &place, int quoting) {
  switch (place.context()) {
    case html_context::text:
    case html_context::double_quoted:
      return quoting == quoting_html || quoting == 0 ? "" : "a visitor's value in the page needs the mode html";
    case html_context::single_quoted:
      return "in single quotes a visitor's value can end the attribute; use double quotes";
    case html_context::unquoted:
      return "without quotes a visitor's value can end the attribute; put it in double quotes";
    case html_context::tag:
      return "inside a tag a visitor's value can be an attribute; put it in the double quotes of one";
    case html_context::url:
      return "in an address a visitor's value needs mangle";
    case html_context::event_handler:
      return "in a script a visitor's value can be more than a text; put it in an attribute that the script reads";
    case html_context::script:
      if ((quoting == quoting_javascript || quoting == 0) && place.script_quote() != 0) return "";
      return "in a script a visitor's value needs quotes and the mode javascript";
    default:
      return "";
  }
}

// Whether the value is in the form of addresses already.
bool is_encoded(const visitor_part &part) {
  return part.source == "query" || part.source == "env QUERY_STRING" || part.source == "env REQUEST_URI";
}

std::string_view statement_mistake(const sql_place &place, int quoting) {
  if (place.quote() == 0 || place.quote() == '`') {
    return "in a statement a visitor's value needs quotes around it, or a check";
  }
  return quoting == quoting_sql || quoting == 0 ? "" : "in a statement a visitor's value needs the mode sql";
}

}  // namespace

void page_walk::put_visitor(std::string source, const call &each, const frame &in, int quoting, walk_output &out) {
  walk_value value;
  value.add_unknown();
  value.visitors.push_back({std::move(source), in.file, {each.caret(), each.name.end}, quoting});
  put(value, out);
}

// A visitor's value is about to be put there.
void page_walk::check_place(const visitor_part &part, walk_output &out) {
  std::string_view mistake;
  const bool in_page = out.to == walk_output::kind::page;
  const bool fits = out.html.context() == html_context::url && is_encoded(part);
  if (in_page && out.html_known && !fits) mistake = page_mistake(out.html, part.quoting);
  if (out.to == walk_output::kind::statement && out.sql_known) mistake = statement_mistake(out.sql, part.quoting);
  if (out.to == walk_output::kind::message && part.quoting != quoting_config && part.quoting != 0 &&
      out.value.text.find("\n\n") == std::string::npos) {
    mistake = "in the header of a message a visitor's value needs the mode config";
  }
  if (mistake.empty()) return;
  report({.rule = "visitor-quoting",
          .file = part.file,
          .part = part.where,
          .message = std::string(mistake),
          .visitors = {part},
          .is_about_html = in_page});
}

void page_walk::check_name(const walk_value &name, std::string_view what, const call &each, const frame &in) {
  if (name.visitors.empty()) return;
  const bool is_evaluated = what == "variable" || what == "template text";
  report({.rule = "visitor-name",
          .file = in.file,
          .part = {each.caret(), each.name.end},
          .message = is_evaluated
                         ? std::string(in.file->text(each.name)) + " evaluates this: a visitor can call any operator"
                         : "a visitor chooses the " + std::string(what) + " here; check the value before",
          .visitors = name.visitors});
}

void page_walk::check_pattern(const walk_value &expression, const call &each, const frame &in) {
  if (expression.visitors.empty()) return;
  report({.rule = "visitor-pattern",
          .file = in.file,
          .part = {each.caret(), each.name.end},
          .message = "a visitor's value is a regular expression here; take the meaning from its special characters",
          .visitors = expression.visitors});
}

// ^form and ^combine
void page_walk::on_form(const call &each, const frame &in, walk_output &out) {
  const std::vector<walk_value> values = values_of(each, in);
  put_visitor("form " + (values[0].is_known() ? values[0].text : "?"), each, in, quoting_, out);
}

void page_walk::on_cookie(const call &each, const frame &in, walk_output &out) {
  const std::vector<walk_value> values = values_of(each, in);
  if (values.size() > 1) return check_name(values[0], "cookie", each, in);
  put_visitor("cookie " + (values[0].is_known() ? values[0].text : "?"), each, in, quoting_, out);
}

// The query is in the form of addresses: it is no danger in HTML.
void page_walk::on_query(const call &each, const frame &in, walk_output &out) {
  values_of(each, in);
  if (out.to == walk_output::kind::page) return out.unknown();
  put_visitor("query", each, in, quoting_html, out);
}

void page_walk::on_env(const call &each, const frame &in, walk_output &out) {
  const walk_value name = value_of(each, 0, in);
  check_name(name, "environment variable", each, in);
  if (name.is_known() && is_from_visitor(name.text)) return put_visitor("env " + name.text, each, in, quoting_, out);
  out.unknown();
}

void page_walk::on_header(const call &each, const frame &in, walk_output &) {
  const std::vector<walk_value> values = values_of(each, in);
  if (values.size() != 2) return;
  check_name(values[0], "header", each, in);
  if (equal_ignoring_case(values[0].text, "content-type")) {
    is_html_ = values[1].is_known() && values[1].text.find("html") != std::string::npos;
  }
  if (values[1].visitors.empty()) return;
  report({.rule = "visitor-quoting",
          .file = in.file,
          .part = values[1].visitors.front().where,
          .message = "in a header a visitor's value needs mangle, or a check",
          .visitors = values[1].visitors});
}

void page_walk::on_sendmail(const call &each, const frame &in, walk_output &out) {
  const number_scope cells(quoting_, quoting_config);
  walk_output message(walk_output::kind::message);
  if (!each.parameters.empty()) evaluate(each.parameters[0], in, message);
  if (out.to == walk_output::kind::value) out.unknown();
}

}  // namespace quillet::dev
