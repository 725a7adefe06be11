#include "apps/chat_messages.h"

#include <fcntl.h>

#include <ctime>

#include "apps/chat_users.h"
#include "cgi/file_names.h"
#include "cgi/form.h"
#include "cgi/log.h"
#include "core/deciding_file.h"
#include "core/file.h"
#include "core/operators.h"

namespace quillet {

namespace {

// The index keeps one line fewer.
constexpr long long index_lines = 100;

constexpr int longest_word = 34;

// How many searches for a line break it takes to get through the text, each from the byte after the last
// one found: one more than it has lines.
long long count_searches(std::string_view lines) {
  long long count = 0;
  for (std::size_t at = 0; at != std::string_view::npos; ++count) at = lines.find('\n', at + 1);
  return count;
}

}  // namespace

std::string_view newest_lines(std::string_view index, long long lines) {
  std::size_t at = 0;
  for (long long skipped = count_searches(index) - lines; skipped > 0; --skipped) {
    at = index.find('\n', at + 1);
    if (at == std::string_view::npos) return {};
  }
  return index.substr(at);
}

void append_chat_message(std::string_view message, text &out) {
  int word = 0;
  for (const char c : message) {
    if (c == '<') {
      out.append("&lt;");
    } else if (c == '>') {
      out.append("&gt;");
    } else if (c == '"') {
      out.append("&quot;");
    } else {
      out.append(c);
    }
    word = c == ' ' ? 0 : word + 1;
    if (word < longest_word) continue;
    out.append(' ');
    word = 0;
  }
}

namespace {

text read_index() { return read_text_file(chat_index_path(), true, true); }

// One write, so that lines of several requests at once do not mix.
void append_to_message_log(std::string_view line) {
  const open_file log(chat_message_log_path(), O_WRONLY | O_APPEND | O_CREAT);
  if (log < 0) return;
  text bytes(line);
  bytes.append('\n');
  write_all(log, bytes);
}

// Gives the error text when the index cannot be written, or was not read because the system failed.
text add_message(std::string_view line) {
  append_to_message_log(line);
  text index = read_index();
  if (index.is_null() && is_system_failure()) return file_error();
  index.append(line);
  if (!line.empty()) index.append('\n');
  return write_text_file(chat_index_path(), newest_lines(index, index_lines), true);
}

// ^chat[lines]
//
// The newest messages, as many as `lines` less one, after a line break when there are more. Notes that the
// visitor is there, as `userlist` does.
void op_chat(parameters &parameters, text &out) {
  refresh_chat_users(std::time(nullptr));
  out.append(newest_lines(read_index(), parse_int(parameters[0])));
}

// ^message[]
// ^message[line]
//
// The first form gives the form field `message`, escaped, long words split. The second adds the line to
// the messages and the visitor to the users; no text. Without the field both do nothing. An index that
// cannot be read or written ends the request with the error page.
void op_message(parameters &parameters, text &out) {
  const text message = form_text("message");
  if (message.is_null()) return;
  if (parameters[0].empty()) return append_chat_message(message, out);
  join_chat(std::time(nullptr));
  const text failure = add_message(parameters[0]);
  if (!failure.is_null()) error_page("%s", failure.c_str());
}

// ^startup[line]
//
// Adds the visitor to the users and, when they were not among them, the line to the messages. Result: empty.
void op_startup(parameters &parameters, text &) {
  if (join_chat(std::time(nullptr))) static_cast<void>(add_message(parameters[0]));
}

constexpr operator_definition definitions[] = {
    {"chat", op_chat, 1, evaluated, "^chat[lines]", "The newest messages."},
    {"message", op_message, 0, evaluated, "^message[] ^message[line]",
     "Returns the message that was sent, or adds a line to the chat."},
    {"startup", op_startup, 1, evaluated, "^startup[line]", "Adds a line if the visitor is new to the chat."},
};

}  // namespace

extern const operator_module chat_message_operators{"apps/chat_messages.cpp", definitions};

}  // namespace quillet
