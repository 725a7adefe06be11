#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "cgi/charset.h"
#include "cgi/log.h"
#include "core/evaluator.h"
#include "core/file.h"
#include "core/onlooker.h"
#include "core/operators.h"
#include "core/process.h"
#include "core/quoting.h"

namespace quillet {

namespace {

constexpr int mail_charset = charset_koi8_r;

const char *mail_program() {
  constexpr const char *first = "/usr/lib/sendmail";
  return access(first, X_OK) == 0 ? first : "/usr/sbin/sendmail";
}

// Writing to a child that has gone is an error of the write then, and does not end this process.
class broken_pipe_scope {
 public:
  broken_pipe_scope() {
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, &before_);
  }
  broken_pipe_scope(const broken_pipe_scope &) = delete;
  broken_pipe_scope &operator=(const broken_pipe_scope &) = delete;
  ~broken_pipe_scope() { sigaction(SIGPIPE, &before_, nullptr); }

 private:
  struct sigaction before_ {};
};

struct mail_outcome {
  bool started = false;
  int status = 0;  // as by `wait_child`
  text said;       // what the program wrote, at most 1,023 bytes of it
};

// Hands the message to the program, which finds the recipients in its header. The program must have read
// the message before it writes more than a pipe can contain, as mail programs do.
mail_outcome submit(const char *program, std::string_view message) {
  char name[] = "sendmail";
  char recipients_from_header[] = "-t";
  char *const arguments[] = {name, recipients_from_header, nullptr};
  mail_outcome outcome;
  int input = -1;
  int output = -1;
  int errors = -1;
  const pid_t child = run_with_pipes(program, arguments, &input, &output, &errors);
  if (child == 0) return outcome;
  outcome.started = true;
  {
    const broken_pipe_scope scope;
    write_all(input, message);
  }
  close(input);
  char said[1023];
  ssize_t size = 0;
  while ((size = read(output, said, sizeof said)) < 0 && errno == EINTR) {
  }
  close(output);
  close(errors);
  outcome.status = wait_child(child);
  if (size > 0) outcome.said = text(until_nul({said, static_cast<std::size_t>(size)}));
  return outcome;
}

// ^sendmail[message]
//
// Hands the message, a header with its recipients, an empty line and a body, to the system's mail
// program, /usr/lib/sendmail or /usr/sbin/sendmail. It is evaluated in the quoting mode `config`, so
// that no value begins a header line of its own, and recoded from the charset of the files to KOI8-R. No
// text when the program takes it and says nothing; nothing happens without a message.
//
// [sendmail pipe error]
// [sendmail reported error: what the program said, #status]
// [sendmail reported error: UNKNOWN, #status]
void op_sendmail(parameters &parameters, text &out) {
  const quoting_scope scope(quoting_config);
  text message = evaluate_copy(parameters[0]);
  recode(message, source_charset(), mail_charset);
  if (message.is_empty()) return;
  const char *const program = mail_program();
  const mail_outcome outcome = submit(program, message);
  if (!outcome.started) {
    log_message(error_log, "sendmail: %s pipe error", program);
    out.append("[sendmail pipe error]");
    return tell_message("[sendmail pipe error]");
  }
  if (outcome.status == 0 && outcome.said.is_null()) return;
  const std::size_t start = out.size();
  out.append("[sendmail reported error: ");
  out.append(outcome.said.is_null() ? "UNKNOWN" : outcome.said.view());
  out.append(", #");
  out.append(format_signed(outcome.status));
  out.append(']');
  tell_message(out.view().substr(start));
}

constexpr operator_definition definitions[] = {
    {"sendmail", op_sendmail, 1, lazy, "^sendmail[message]", "Sends a mail message."},
};

}  // namespace

extern const operator_module mail_operators{"files/mail.cpp", definitions};

}  // namespace quillet
