// Follows a page in the order in which the program evaluates it, without its values: what is set, made, and defined
// before each call. Whatever is not certain counts as possible.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/regular_expression.h"
#include "dev/check/html_place.h"
#include "dev/check/rules.h"
#include "dev/check/walk_state.h"
#include "dev/check/walk_value.h"

namespace quillet::dev {

// What a walk finds. It is dropped when something else in the page makes it no mistake.
struct walk_finding {
  std::string_view rule;
  const document *file;
  text_range part;
  std::string message;
  std::string replacement = {};  // of `replaced`, for editors; nothing when it is empty
  text_range replaced = {};
  std::vector<visitor_part> visitors = {};  // no mistake when all their sources are checked
  std::optional<std::string> table = {};    // no mistake when `empty` asks for it
  std::vector<std::string> paths = {};      // no mistake when `-f` or `find` asks for one, or the site writes it
  std::string variable = {};                // no mistake when it is set
  bool is_about_html = false;               // no mistake when the response is something else
  const document *data = nullptr;           // no mistake when that file has other ones
  std::string macro = {};                   // no mistake when `macro_exists` asks for it
};

// What the walks of one site share.
struct walk_memory {
  std::map<const document *, std::shared_ptr<const std::vector<std::string>>> columns;  // of data files
  std::map<std::pair<std::string, std::string>, std::shared_ptr<const regular_expression>> expressions;
};

// Where evaluated text goes.
struct walk_output {
  enum class kind : std::uint8_t {
    nowhere,
    value,      // kept
    page,       // the page itself
    statement,  // of SQL
    message,    // a mail
  };
  explicit walk_output(kind where) : to(where) {}

  kind to;
  walk_value value;  // of everything but a page
  html_place html;
  bool html_known = true;
  sql_place sql;
  bool sql_known = true;

  void literal(std::string_view bytes);
  void unknown();
  void join(const walk_output &other, std::size_t common);
};

class page_walk {
 public:
  page_walk(const page_files &page, const checked_site &in, walk_memory &memory)
      : page_(page), in_(in), memory_(memory) {}

  void run();

  // Findings that are no mistakes for this page are left out.
  [[nodiscard]] std::vector<walk_finding> findings();
  // The files that the page writes, with `any_bytes` in their paths.
  [[nodiscard]] const std::set<std::string> &written() const { return written_; }

 private:
  struct argument;
  // What the references of a text mean.
  struct frame {
    const document *file;
    const known_macro *called = nullptr;  // null outside of macros
    std::vector<argument> arguments = {};
  };
  struct argument {
    const template_text *bytes;
    const frame *of;
  };
  using handler = void (page_walk::*)(const call &, const frame &, walk_output &);
  struct operator_row {
    std::string_view name;
    handler function;
  };
  static std::span<const operator_row> operators();

  // page_walk.cpp
  void load_configuration();
  int define_macros(const document &file, walk_output *out);
  void evaluate(const template_text &part, const frame &in, walk_output &out);
  void literal(text_range range, const frame &in, walk_output &out);
  std::size_t reference(std::string_view rest, const frame &in, walk_output &out);
  void make_call(const call &each, const frame &in, walk_output &out);
  void call_macro(const known_macro &called, std::span<const template_text> arguments, const frame &in,
                  walk_output &out);
  walk_value value_of(const template_text &part, const frame &in);
  walk_value value_of(const call &each, std::size_t index, const frame &in);
  std::vector<walk_value> values_of(const call &each, const frame &in);
  void put(const walk_value &value, walk_output &out);
  void report(walk_finding found);
  static void replace(walk_finding &found, const call &each, std::string_view wrong, std::string_view right);
  void report(std::string_view rule, const call &each, const frame &in, std::string message);

  // walk_choices.cpp
  void branches(std::span<const template_text *const> alternatives, const frame &in, walk_output &out);
  void choose(const call &each, std::size_t first, std::size_t count, const frame &in, walk_output &out);
  void loop(const template_text *condition, const template_text &body, const frame &in, walk_output &out);
  void note_comparison(const walk_value &a, const walk_value &b);
  void note_checked(const walk_value &value);
  void on_eq(const call &each, const frame &in, walk_output &out);
  void on_ifdef(const call &each, const frame &in, walk_output &out);
  void on_default(const call &each, const frame &in, walk_output &out);
  void on_start(const call &each, const frame &in, walk_output &out);
  void on_cmp(const call &each, const frame &in, walk_output &out);
  void on_if(const call &each, const frame &in, walk_output &out);
  void on_while(const call &each, const frame &in, walk_output &out);
  void on_for(const call &each, const frame &in, walk_output &out);
  void on_switch(const call &each, const frame &in, walk_output &out);
  void on_case(const call &each, const frame &in, walk_output &out);
  void on_cache(const call &each, const frame &in, walk_output &out);
  void on_validate(const call &each, const frame &in, walk_output &out);
  void on_userlist(const call &each, const frame &in, walk_output &out);
  void on_server(const call &each, const frame &in, walk_output &out);
  void on_level(const call &each, const frame &in, walk_output &out);
  void on_process(const call &each, const frame &in, walk_output &out);
  void on_optionset(const call &each, const frame &in, walk_output &out);
  void on_optionand(const call &each, const frame &in, walk_output &out);
  void on_pass(const call &each, const frame &in, walk_output &out);
  void on_rem(const call &each, const frame &in, walk_output &out);

  // walk_variables.cpp
  void on_var(const call &each, const frame &in, walk_output &out);
  void on_eval(const call &each, const frame &in, walk_output &out);
  void read_variable(const call &each, const frame &in, walk_output &out);
  void set_variable(const walk_value &name, known_variable value);
  void check_expression(const template_text &parameter, const frame &in);
  using name_reporter =
      std::function<void(std::string_view part, std::string_view rule, std::string message, std::string variable)>;
  void check_item(std::string_view name, bool is_compared, const frame &in, const name_reporter &report_at);
  void check_whole_addition(const call &each, const walk_value &operand, const frame &in);

  // walk_macros.cpp
  [[nodiscard]] std::string shown_page() const;
  void on_macro(const call &each, const frame &in, walk_output &out);
  void on_macro_new(const call &each, const frame &in, walk_output &out);
  void on_macro_use(const call &each, const frame &in, walk_output &out);
  void on_macro_exists(const call &each, const frame &in, walk_output &out);

  // walk_tables.cpp
  [[nodiscard]] const known_table *read_table(const std::optional<std::string> &name, const call &each,
                                              const frame &in);
  void make_table(known_table made, const call &each, const frame &in);
  void change_table(const call &each, const frame &in, std::string_view how);
  [[nodiscard]] static std::string describe_missing_table(const std::string &name);
  [[nodiscard]] static std::string describe_missing_column(const known_table &from, std::string_view column);
  void check_column(const known_table *from, const walk_value &column, const call &each, std::size_t index,
                    const frame &in);
  void missing_data_file(const std::string &name, const call &each, const frame &in);
  void on_context(const call &each, const frame &in, walk_output &out);
  void on_load(const call &each, const frame &in, walk_output &out);
  void on_config(const call &each, const frame &in, walk_output &out);
  void on_item(const call &each, const frame &in, walk_output &out);
  void on_locate(const call &each, const frame &in, walk_output &out);
  void on_shift(const call &each, const frame &in, walk_output &out);
  void on_empty(const call &each, const frame &in, walk_output &out);
  void on_flip(const call &each, const frame &in, walk_output &out);
  void on_sort(const call &each, const frame &in, walk_output &out);
  void on_menu(const call &each, const frame &in, walk_output &out);
  void on_table(const call &each, const frame &in, walk_output &out);
  void walk_rows(const call &each, const template_text &body, const frame &in, walk_output &out);
  void on_split(const call &each, const frame &in, walk_output &out);
  void on_date_table(const call &each, const frame &in, walk_output &out);
  void on_calendar(const call &each, const frame &in, walk_output &out);
  void on_sql(const call &each, const frame &in, walk_output &out);
  void on_threads(const call &each, const frame &in, walk_output &out);

  // walk_match.cpp
  void on_match(const call &each, const frame &in, walk_output &out);
  void replace_matches(const call &each, const walk_value &expression, const regular_expression *compiled,
                       const frame &in, walk_output &out);
  std::shared_ptr<const regular_expression> compiled(const walk_value &expression, const walk_value &options);

  // walk_files.cpp
  [[nodiscard]] std::string path_of(const walk_value &name) const;
  [[nodiscard]] std::vector<std::string> paths_upward(std::string_view name) const;
  void missing_file(const call &each, const frame &in, std::vector<std::string> paths, std::string message);
  void check_picture(const walk_value &name, const call &each, const frame &in);
  void on_include(const call &each, const frame &in, walk_output &out);
  void on_save(const call &each, const frame &in, walk_output &out);
  void on_upload(const call &each, const frame &in, walk_output &out);
  void on_counter(const call &each, const frame &in, walk_output &out);
  void on_readable(const call &each, const frame &in, walk_output &out);
  void on_find(const call &each, const frame &in, walk_output &out);
  void on_index(const call &each, const frame &in, walk_output &out);
  void on_picture_size(const call &each, const frame &in, walk_output &out);
  void on_gif_template(const call &each, const frame &in, walk_output &out);
  void on_file(const call &each, const frame &in, walk_output &out);

  // walk_visitors.cpp
  void put_visitor(std::string source, const call &each, const frame &in, int quoting, walk_output &out);
  void check_place(const visitor_part &part, walk_output &out);
  void check_pattern(const walk_value &expression, const call &each, const frame &in);
  void check_name(const walk_value &name, std::string_view what, const call &each, const frame &in);
  void on_form(const call &each, const frame &in, walk_output &out);
  void on_cookie(const call &each, const frame &in, walk_output &out);
  void on_query(const call &each, const frame &in, walk_output &out);
  void on_env(const call &each, const frame &in, walk_output &out);
  void on_header(const call &each, const frame &in, walk_output &out);
  void on_sendmail(const call &each, const frame &in, walk_output &out);

  // walk_messages.cpp
  void check_message(const call &condition, const template_text &part, const frame &in);

  const page_files &page_;
  const checked_site &in_;
  walk_memory &memory_;
  shared_walk_state state_;
  int quoting_ = 0;  // the mode in force; 0 when it is not known
  int guards_ = 0;   // conditions around, in which what is missing is asked for
  int depth_ = 0;
  int calls_left_ = 0;
  bool is_html_ = true;
  bool asks_any_macro_ = false;
  bool asks_any_table_ = false;
  std::vector<std::string> walked_;  // the tables whose rows are being walked
  std::vector<walk_output *> switches_;
  std::vector<walk_finding> findings_;
  std::set<std::string> checked_sources_;
  std::set<std::string> asked_tables_;  // by `empty`
  std::set<std::string> asked_paths_;   // by `-f` and `find`
  std::set<std::string> asked_macros_;
  std::set<std::string> set_variables_;
  std::set<std::string> written_;
};

}  // namespace quillet::dev
