#include "main/driver.h"

#include <sys/stat.h>

#include <csignal>
#include <cstdlib>

#include "apps/chat_settings.h"
#include "cgi/charset.h"
#include "cgi/form.h"
#include "cgi/log.h"
#include "cgi/optimizer.h"
#include "cgi/request.h"
#include "cgi/response.h"
#include "core/end.h"
#include "core/file.h"
#include "core/process.h"
#include "macro/macro_files.h"
#include "main/modules.h"

namespace quillet {

void load_profile() {
  const file_text profile = view_text_file(".profile", false);
  std::string_view rest = profile;
  for (;;) {
    const std::string_view line = next_token(rest, '\n');
    // Deliberate: a last line without a line feed is ignored.
    if (rest.data() == nullptr) return;
    std::string_view name = line;
    const std::string_view value = cut_at_char(name, '=');
    if (value.data() != nullptr) set_environment(name, value);
  }
}

namespace {

// What the environment says now, `.profile` applied, about the page that is asked for.
void take_page_path() {
  const char *uri = std::getenv("REQUEST_URI");
  request.request_uri = text(uri == nullptr ? "" : uri);
  request.page_path = text(request.path_translated);
}

// Ends the request unless it came through the web server's mapping of pages onto the program.
void check_call() {
  if (request.request_uri.is_empty() || request.page_path.is_empty()) error_page("quillet 1.0 (zibrosvi build)");
  // Deliberate: compared as bytes, so that a name that only begins so is an illegal call too.
  if (!request.script_name.empty() && request.request_uri.view().starts_with(request.script_name)) {
    error_page("illegal call");
  }
}

}  // namespace

void prepare_process() {
  open_standard_streams();
  log_last_message();
  umask(2);
  // A file that grows beyond the process's limit is an error of the write. Programs that are run get the
  // default back, which ignoring the signal would not give them.
  std::signal(SIGXFSZ, [](int) {});
}

int answer_request(void (*form_is_read)()) {
  capture_environment();
  read_charsets();
  int status = exit_undecodable;
  if (decode_form_input()) {
    if (form_is_read != nullptr) form_is_read();
    status = run_request();
  }
  free_form_entries();
  return status;
}

int run_request() {
  load_profile();
  take_page_path();
  check_call();
  register_all_operators();
  send_changed_chat_settings();
  load_configuration();
  text page = process_page(request.page_path);
  optimize_output(page);
  if (page.is_empty()) error_page("unable to print %s", request.page_path.c_str());
  if (request.print_response) write_response(request.response_content_type, page);
  return exit_answered;
}

}  // namespace quillet
