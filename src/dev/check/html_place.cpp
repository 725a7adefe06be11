#include "dev/check/html_place.h"

#include <algorithm>
#include <iterator>

#include "core/text.h"

namespace quillet::dev {

namespace {

bool is_space(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r' || c == '\f'; }

constexpr std::string_view address_attributes[] = {"href", "src", "action", "formaction", "cite", "poster", "data"};

}  // namespace

void html_place::skip() {
  // A value that is not known is taken to be one without markup.
  if (state_ == state::before_value) state_ = state::unquoted;
  if (state_ == state::tag_open) state_ = state::tag_name;
  escaped_ = false;
  before_ = 0;
}

bool html_place::is_between_values() const {
  return state_ == state::tag_name || state_ == state::in_tag || state_ == state::attribute_name;
}

bool html_place::join(const html_place &other) {
  if (state_ == state::text && other.state_ == state::text) return true;
  if (element() != other.element()) return false;
  if (is_between_values() && other.is_between_values()) {
    state_ = state::in_tag;  // one branch adds an attribute
    return true;
  }
  return state_ == other.state_ && attribute() == other.attribute() && matched_ == other.matched_ &&
         quote_ == other.quote_ && escaped_ == other.escaped_ && note_ == other.note_;
}

html_context html_place::context() const {
  switch (state_) {
    case state::text:
      return html_context::text;
    case state::double_quoted:
      if (attribute().starts_with("on")) return html_context::event_handler;
      return is_address() ? html_context::url : html_context::double_quoted;
    case state::single_quoted:
      return attribute().starts_with("on") ? html_context::event_handler : html_context::single_quoted;
    case state::unquoted:
    case state::before_value:
      return html_context::unquoted;
    case state::raw_text:
      return element() == "script" ? html_context::script : html_context::style;
    case state::comment:
      return html_context::comment;
    default:
      return html_context::tag;
  }
}

bool html_place::is_address() const {
  return std::find(std::begin(address_attributes), std::end(address_attributes), attribute()) !=
         std::end(address_attributes);
}

void html_place::step(char c) {
  switch (state_) {
    case state::text:
      if (c == '<') state_ = state::tag_open;
      return;
    case state::comment:
      matched_ = c == '-' ? static_cast<std::uint8_t>(std::min(matched_ + 1, 2)) : c == '>' && matched_ == 2 ? 3 : 0;
      if (matched_ == 3) state_ = state::text;
      return;
    case state::raw_text:
      return step_raw_text(c);
    case state::before_value:
    case state::double_quoted:
    case state::single_quoted:
    case state::unquoted:
      return step_value(c);
    default:
      return step_tag(c);
  }
}

void html_place::begin_tag(char c) {
  element_size_ = attribute_size_ = matched_ = 0;
  if (c == '!' || c == '/' || is_letter(c)) {
    state_ = state::tag_name;
    element_[element_size_++] = lower_char(c);  // of an end tag the "/", so that it is no "script"
  } else {
    state_ = c == '<' ? state::tag_open : state::text;
  }
}

void html_place::step_tag(char c) {
  if (state_ == state::tag_open) return begin_tag(c);
  if (c == '>') return end_tag();
  if (state_ == state::tag_name) {
    if (is_space(c) || c == '/') {
      state_ = state::in_tag;
    } else if (element_size_ < longest_word) {
      element_[element_size_++] = lower_char(c);
    }
    if (element() == "!--") {
      state_ = state::comment;
      matched_ = 0;
    }
  } else if (c == '=') {
    state_ = state::before_value;
  } else if (is_space(c) || c == '/') {
    state_ = state::in_tag;
  } else {
    if (state_ == state::in_tag) attribute_size_ = 0;
    state_ = state::attribute_name;
    if (attribute_size_ < longest_word) attribute_[attribute_size_++] = lower_char(c);
  }
}

void html_place::step_value(char c) {
  if (state_ == state::before_value) {
    if (is_space(c)) return;
    state_ = c == '"' ? state::double_quoted : c == '\'' ? state::single_quoted : state::unquoted;
    if (c == '>') end_tag();
  } else if ((state_ == state::double_quoted && c == '"') || (state_ == state::single_quoted && c == '\'') ||
             (state_ == state::unquoted && is_space(c))) {
    state_ = state::in_tag;
  } else if (state_ == state::unquoted && c == '>') {
    end_tag();
  }
}

void html_place::end_tag() {
  const bool is_raw = element() == "script" || element() == "style";
  state_ = is_raw ? state::raw_text : state::text;
  matched_ = 0;
  quote_ = before_ = note_ = 0;
  escaped_ = false;
}

// Up to "</script".
void html_place::step_raw_text(char c) {
  const char wanted = matched_ == 0 ? '<' : matched_ == 1 ? '/' : element_[matched_ - 2];
  if (lower_char(c) == wanted) {
    if (++matched_ == element_size_ + 2) {
      element_size_ = 0;
      state_ = state::in_tag;
      return;
    }
  } else {
    matched_ = c == '<' ? 1 : 0;
  }
  read_script(c);
}

// The strings and comments of a script.
void html_place::read_script(char c) {
  const char before = before_;
  before_ = c;
  if (note_ != 0) {
    if ((note_ == '/' && c == '\n') || (note_ == '*' && before == '*' && c == '/')) note_ = before_ = 0;
  } else if (quote_ != 0) {
    if (escaped_) {
      escaped_ = false;
    } else if (c == '\\') {
      escaped_ = true;
    } else if (c == quote_ || (c == '\n' && quote_ != '`')) {
      quote_ = 0;
    }
  } else if (c == '"' || c == '\'' || c == '`') {
    quote_ = c;
  } else if (before == '/' && (c == '/' || c == '*')) {
    note_ = c;
    before_ = 0;
  }
}

void sql_place::feed(std::string_view bytes) {
  for (const char c : bytes) {
    if (quote_ == 0) {
      if (c == '\'' || c == '"' || c == '`') quote_ = c;
    } else if (escaped_) {
      escaped_ = false;
    } else if (c == '\\') {
      escaped_ = true;
    } else if (c == quote_) {
      quote_ = 0;
    }
  }
}

}  // namespace quillet::dev
