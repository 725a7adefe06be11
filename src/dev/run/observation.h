// What was seen of one request: its calls, its messages, its files. Written by the process that answers the request,
// read by the one that asked for it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillet::dev {

// A byte of a file that was read. Lines and columns count from 1, columns in bytes.
struct place {
  int file = -1;  // in `observation::files`; below 0 where it is not known
  std::uint32_t line = 0;
  std::uint32_t column = 0;
  // The text was made while the page ran, and nothing says of which bytes: this is the call that evaluated it.
  bool is_of_evaluation = false;

  [[nodiscard]] bool is_known() const { return file >= 0; }
  bool operator==(const place &) const = default;
};

// What led to a call: "macro greet" or "include nav.html", and where that was called.
struct chain_link {
  std::string what;
  place where;
  std::size_t count = 1;  // of calls from there, one inside the other
};

struct observed_message {
  std::string message;
  std::string operator_name;  // empty outside of any call
  place where;
  std::vector<chain_link> chain;  // the innermost first
  std::size_t count = 1;          // how often it was given there
};

struct observed_call {
  int parent = -1;  // in `observation::calls`; below 0 for the outermost ones
  std::string name;
  place where;
  bool is_macro_body = false;           // no call of the page: the program itself evaluates this macro
  std::vector<std::string> parameters;  // each cut; values where the operator is given values
  std::string result;                   // cut
  std::size_t result_size = 0;
  std::string table;  // the current one as the call began; empty for none
  int row = -1;       // its current row, from 0; below 0 without a table
  std::string mode;   // the quoting mode
  std::int64_t nanoseconds = 0;
  std::vector<std::string> messages;
};

// A file that a call was to read and that could not be opened.
struct missing_file {
  std::vector<std::string> paths;  // all that were tried, in order
  std::string operator_name;       // empty for what the program looks for by itself, which may be missing
  place where;
  std::vector<chain_link> chain;
};

// Bytes that nobody gets.
struct dropped_bytes {
  std::string what;
  std::string bytes;  // cut
  place where;
};

// The calls with one way to them: a node of the tree that folds into stacks.
struct profile_node {
  int parent = -1;
  std::string name;  // of the operator; of a macro, with the macro's name
  place where;
  std::size_t count = 0;
  std::int64_t nanoseconds = 0;  // with the calls inside
};

struct observation {
  bool is_complete = false;  // the process came to its end
  std::vector<std::string> files;
  std::vector<observed_call> calls;
  std::size_t calls_left_out = 0;  // beyond the most that are kept
  std::vector<observed_message> messages;
  std::vector<missing_file> missing;
  std::vector<dropped_bytes> dropped;
  std::vector<profile_node> profile;
  std::int64_t nanoseconds = 0;
};

// Both ways between an observation and bytes (CBOR, RFC 8949). Bytes that are none give an incomplete observation.
[[nodiscard]] std::string encode(const observation &seen);
[[nodiscard]] observation decode(std::string_view bytes);

}  // namespace quillet::dev
