#include "main/modules.h"

#include <utility>

#include "cgi/charset.h"
#include "cgi/cookies.h"
#include "cgi/form.h"
#include "cgi/request.h"
#include "core/evaluator.h"
#include "core/variables.h"
#include "macro/macro_library.h"
#include "table/registry.h"

namespace quillet {

// Each is defined at the end of the module's source file.
extern const operator_module access_operators, cache_operators, calendar_operators, chat_admission_operators,
    chat_message_operators, chat_operators, chat_user_operators, color_operators, comparison_operators,
    cookie_operators, counter_operators, date_operators, download_operators, environment_operators,
    evaluation_operators, exec_operators, expression_operators, file_operators, form_operators, gif_template_operators,
    header_operators, image_size_operators, macro_operators, mail_operators, match_operators, number_operators,
    optimizer_operators, option_operators, sort_operators, sql_operators, string_operators, switch_operators,
    table_file_operators, table_operators, table_walk_operators, thread_operators, upload_operators, url_operators,
    uuencode_operators;

namespace {

// The chat's own `cookie` gives way to the one of the cookie module, which comes before it.
constexpr const operator_module *modules[] = {
    &cache_operators,      &optimizer_operators,    &form_operators,
    &url_operators,        &environment_operators,  &header_operators,
    &evaluation_operators, &color_operators,        &date_operators,
    &number_operators,     &exec_operators,         &file_operators,
    &image_size_operators, &comparison_operators,   &option_operators,
    &macro_operators,      &match_operators,        &mail_operators,
    &sort_operators,       &string_operators,       &table_operators,
    &table_file_operators, &table_walk_operators,   &cookie_operators,
    &upload_operators,     &uuencode_operators,     &sql_operators,
    &counter_operators,    &calendar_operators,     &gif_template_operators,
    &switch_operators,     &expression_operators,   &access_operators,
    &thread_operators,     &download_operators,     &chat_operators,
    &chat_user_operators,  &chat_message_operators, &chat_admission_operators,
};

}  // namespace

std::span<const operator_module *const> operator_modules() { return modules; }

void register_all_operators() {
  static bool registered = false;
  if (std::exchange(registered, true)) return;
  for (const operator_module *module : modules) register_operators(module->definitions);
}

void forget_request() {
  for (const operator_module *module : modules) {
    if (module->forget != nullptr) module->forget();
  }
  forget_tables();
  forget_macros();
  forget_variables();
  forget_calls();
  forget_charsets();
  forget_cookies();
  free_form_entries();
  request = {};
}

}  // namespace quillet
