#include <climits>

#include "cgi/file_names.h"
#include "cgi/request.h"
#include "core/deciding_file.h"
#include "core/operators.h"

namespace quillet {

namespace {

// The answer of one "require" line's words after "require"; empty when it decides nothing. `key` is the
// name between two spaces.
std::string_view decide(std::string_view rest, std::string_view key) {
  const std::string_view kind = next_token(rest, ' ');
  if (kind == "valid-user") return "yes";
  if (kind != "group") return {};
  text names(" ");
  names.append(rest);
  names.append(' ');
  // Deliberate: a name with a blank in it is found where its words are neighbours.
  return names.view().find(key) != std::string_view::npos ? "yes" : "no";
}

// The answer of an access file's first line that decides; empty when none does. Deliberate: words are
// separated by single spaces, so that two spaces make an empty word and a tab separates nothing.
std::string_view decide_by_file(std::string_view content, std::string_view key) {
  while (content.data() != nullptr) {
    std::string_view line = next_token(content, '\n');
    if (next_token(line, ' ') != "require") continue;
    const std::string_view answer = decide(line, key);
    if (!answer.empty()) return answer;
  }
  return {};
}

// ^auth[name;path]
//
// Whether the web server's access files admit the name to the path: "yes" or "no", as the nearest
// `.htaccess` decides that has a line "require valid-user", which admits everyone, or "require group"
// with a list of names. The file's first such line counts, other "require" lines do not. No text when no
// file decides, from the directory of the path up to the root.
void op_auth(parameters &parameters, text &out) {
  text key(" ");
  key.append(parameters[0]);
  key.append(' ');
  const text path = resolve_file(parameters[1]);
  std::string_view directory = path;
  while (cut_at_last_char(directory, '/').data() != nullptr) {
    if (directory.size() >= PATH_MAX) continue;  // no file can have such a name
    const text content = read_deciding_file(access_file_path(directory), false, false);
    const std::string_view answer = decide_by_file(content, key);
    if (!answer.empty()) return out.append(answer);
  }
}

// ^user[]
//
// The name under which the web server knows the visitor; no text when it does not.
void op_user(parameters &, text &out) { out.append(request.remote_user); }

constexpr operator_definition definitions[] = {
    {"auth", op_auth, 2, evaluated, "^auth[name;path]", "Whether a name may access a path."},
    {"user", op_user, 0, evaluated, "^user[]", "The name of the visitor.", pure},
};

}  // namespace

extern const operator_module access_operators{"apps/access.cpp", definitions};

}  // namespace quillet
