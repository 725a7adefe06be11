// Where in a page of HTML, or in a statement of SQL, a value is inserted.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quillet::dev {

enum class html_context : std::uint8_t {
  text,
  tag,            // inside a tag, outside of values
  double_quoted,  // the value of an attribute
  single_quoted,
  unquoted,
  url,            // the value of an attribute that is an address, in double quotes
  event_handler,  // the value of an attribute that is a script
  script,
  style,
  comment,
};

// Reads HTML piece by piece, as the tokenizer of browsers does (html.spec.whatwg.org, 13.2.5), as far as it matters
// here.
class html_place {
 public:
  void feed(std::string_view bytes) {
    for (const char c : bytes) step(c);
  }
  // Bytes that are not known were inserted.
  void skip();

  [[nodiscard]] html_context context() const;
  // Inside a script: the quote of the string that the place is in, 0 outside of strings.
  [[nodiscard]] char script_quote() const { return quote_; }

  // What holds after either of two branches; false when they end in different places.
  [[nodiscard]] bool join(const html_place &other);

 private:
  enum class state : std::uint8_t {
    text,
    tag_open,
    tag_name,
    in_tag,
    attribute_name,
    before_value,
    double_quoted,
    single_quoted,
    unquoted,
    raw_text,
    comment,
  };

  void step(char c);
  void step_tag(char c);
  void step_value(char c);
  void step_raw_text(char c);
  void begin_tag(char c);
  void end_tag();
  void read_script(char c);
  [[nodiscard]] bool is_between_values() const;
  [[nodiscard]] bool is_address() const;
  [[nodiscard]] std::string_view attribute() const { return {attribute_, attribute_size_}; }
  [[nodiscard]] std::string_view element() const { return {element_, element_size_}; }

  static constexpr std::size_t longest_word = 15;

  state state_ = state::text;
  char element_[longest_word + 1] = {};    // the name of the tag, in lower case, as much of it as there is room for
  char attribute_[longest_word + 1] = {};  // the same of the attribute
  std::uint8_t element_size_ = 0;
  std::uint8_t attribute_size_ = 0;
  std::uint8_t matched_ = 0;  // of the end of a comment or of a script
  char quote_ = 0;
  bool escaped_ = false;
  char before_ = 0;  // the byte before, in a script
  char note_ = 0;    // in a script: "/" in a comment up to the end of the line, "*" in another one
};

// Reads SQL piece by piece.
class sql_place {
 public:
  void feed(std::string_view bytes);
  // The quote that the place is in: ' or " or `; 0 outside.
  [[nodiscard]] char quote() const { return quote_; }

  bool operator==(const sql_place &) const = default;

 private:
  char quote_ = 0;
  bool escaped_ = false;
};

}  // namespace quillet::dev
