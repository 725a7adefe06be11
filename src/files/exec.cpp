#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

#include "cgi/file_names.h"
#include "cgi/request.h"
#include "core/operators.h"
#include "core/process.h"

namespace quillet {

namespace {

// Another value of an environment variable for a while; an empty one removes it.
class environment_scope {
 public:
  environment_scope(const char *name, std::string_view value) : name_(name) {
    if (const char *found = std::getenv(name)) saved_ = text(found);
    if (value.empty()) {
      unsetenv(name);
    } else {
      set_environment(name, value);
    }
  }
  environment_scope(const environment_scope &) = delete;
  environment_scope &operator=(const environment_scope &) = delete;
  ~environment_scope() {
    if (saved_.is_null()) {
      unsetenv(name_);
    } else {
      set_environment(name_, saved_);
    }
  }

 private:
  const char *name_;
  text saved_;  // null when the variable was not set
};

text read_to_end(int descriptor) {
  text bytes;
  char piece[16384];
  for (;;) {
    const ssize_t n = read(descriptor, piece, sizeof piece);
    if (n > 0) {
      bytes.append(std::string_view(piece, static_cast<std::size_t>(n)));
    } else if (n == 0 || errno != EINTR) {
      return bytes;
    }
  }
}

// Runs the command in the shell, in the directory; what it writes to its standard output. Nothing when it cannot be
// run.
text output_of(text command, const text &directory) {
  text shell("sh");
  text option("-c");
  char *const arguments[] = {shell.data(), option.data(), command.data(), nullptr};
  int output = -1;
  const pid_t child = run_with_pipes("/bin/sh", arguments, nullptr, &output, nullptr, directory.c_str());
  if (child == 0) return {};
  text bytes = read_to_end(output);
  close(output);
  wait_child(child);
  return bytes;
}

// The text after the first empty line: nothing, or carriage returns only, between two line feeds.
std::string_view after_header(std::string_view output) {
  for (std::size_t at = 0; (at = output.find('\n', at)) != std::string_view::npos;) {
    do {
      ++at;
    } while (at < output.size() && output[at] == '\r');
    if (at < output.size() && output[at] == '\n') return output.substr(at + 1);
  }
  return {};
}

// ^exec[file]
// ^exec[file;query string]
// ^exec[file;query string;path info]
//
// Runs a program in its own directory, as a server-side include would, and gives what it writes after
// its header: everything after the first empty line. Output without an empty line gives no text, and so does a
// program that cannot be run. The name reaches the shell as it is.
//
// The program's environment is that of this process, with QUERY_STRING and PATH_INFO from the
// parameters, the page's URL in DOCUMENT_URI and its query string in QUERY_STRING_UNESCAPED; what is
// missing is not set.
void op_exec(parameters &parameters, text &out) {
  const text path = resolve_file(parameters[0]);
  std::string_view directory = path;
  const std::string_view name = cut_at_last_char(directory, '/');
  text command("./");
  command.append(name);
  const environment_scope uri("DOCUMENT_URI", request.request_uri);
  const environment_scope unescaped("QUERY_STRING_UNESCAPED", request.query_string);
  const environment_scope query("QUERY_STRING", parameters[1]);
  const environment_scope path_info("PATH_INFO", parameters[2]);
  const text output = output_of(std::move(command), text(directory.empty() ? "/" : directory));
  // Deliberate: without an empty line there is no result; the program answers as a CGI program does.
  out.append(after_header(until_nul(output)));
}

constexpr operator_definition definitions[] = {
    {"exec", op_exec, 0, evaluated, "^exec[file] ^exec[file;query string] ^exec[file;query string;path info]",
     "The output of a program."},
};

}  // namespace

extern const operator_module exec_operators{"files/exec.cpp", definitions};

}  // namespace quillet
