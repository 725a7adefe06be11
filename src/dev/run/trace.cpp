#include "dev/run/trace.h"

#include <algorithm>
#include <vector>

#include "dev/run/shown.h"

namespace quillet::dev {

namespace {

constexpr std::size_t most_of_a_value = 60;

void append_chain(const observation &seen, const std::vector<chain_link> &chain, std::string &lines) {
  for (const chain_link &link : chain) {
    lines += "    in " + link.what;
    if (link.where.is_known()) lines += ", from " + shown_place(seen, link.where);
    if (link.count > 1) lines += " (" + std::to_string(link.count) + " times)";
    lines += '\n';
  }
}

std::string front(const observation &seen, const place &where) {
  if (!where.is_known()) return {};
  return shown_place(seen, where) + ": " + (where.is_of_evaluation ? "in a value evaluated here: " : "");
}

// Colours of a terminal, or nothing (ECMA-48, SGR).
struct colours {
  explicit colours(bool in_colour) : is_on(in_colour) {}
  [[nodiscard]] std::string place(std::string_view text) const { return put("\x1b[2m", text); }
  [[nodiscard]] std::string state(std::string_view text) const { return put("\x1b[36m", text); }
  [[nodiscard]] std::string message(std::string_view text) const { return put("\x1b[31m", text); }

 private:
  [[nodiscard]] std::string put(std::string_view on, std::string_view text) const {
    return is_on ? std::string(on) + std::string(text) + "\x1b[0m" : std::string(text);
  }
  bool is_on;
};

std::vector<int> depths(const observation &seen) {
  std::vector<int> depth;
  for (const observed_call &call : seen.calls) {
    depth.push_back(call.parent < 0 ? 0 : depth[static_cast<std::size_t>(call.parent)] + 1);
  }
  return depth;
}

}  // namespace

std::string shown_notes(const observation &seen) {
  std::string lines;
  for (const observed_message &each : seen.messages) {
    lines += front(seen, each.where) + each.message;
    if (each.count > 1) lines += " (" + std::to_string(each.count) + " times)";
    lines += '\n';
    append_chain(seen, each.chain, lines);
  }
  for (const missing_file &each : seen.missing) {
    if (each.operator_name.empty()) continue;
    lines += front(seen, each.where) + each.operator_name + ": not found: ";
    for (const std::string &path : each.paths) lines += (&path == each.paths.data() ? "" : ", ") + shown_path(path);
    lines += '\n';
    append_chain(seen, each.chain, lines);
  }
  for (const dropped_bytes &each : seen.dropped) {
    lines += front(seen, each.where) + each.what +
             " is dropped: " + shown_value(each.bytes, each.bytes.size(), most_of_a_value) + '\n';
  }
  return lines;
}

std::string shown_trace(const observation &seen, bool in_colour) {
  const colours colour(in_colour);
  std::string lines;
  for (const missing_file &each : seen.missing) {
    if (each.operator_name.empty()) lines += colour.place("looked for: " + shown_path(each.paths.front())) + '\n';
  }
  for (const std::string &path : seen.files) lines += colour.place("read: " + shown_path(path)) + '\n';
  const std::vector<int> depth = depths(seen);
  observed_call before = call_of_no_state();
  for (std::size_t i = 0; i < seen.calls.size(); ++i) {
    const observed_call &call = seen.calls[i];
    std::string where = shown_place(seen, call.where) + (call.where.is_of_evaluation ? "*" : "");
    where.resize(std::max<std::size_t>(where.size() + 2, 26), ' ');
    lines += colour.place(where) + std::string(static_cast<std::size_t>(depth[i]) * 2, ' ') +
             shown_call(call, most_of_a_value);
    if (!call.is_macro_body) lines += " = \"" + shown_value(call.result, call.result_size, most_of_a_value) + '"';
    if (const std::string changed = changed_state(call, before); !changed.empty()) {
      lines += ' ' + colour.state('{' + changed + '}');
    }
    lines += '\n';
    for (const std::string &message : call.messages) {
      lines += std::string(28 + static_cast<std::size_t>(depth[i]) * 2, ' ') + colour.message(message) + '\n';
    }
    before = call;
  }
  if (seen.calls_left_out > 0) lines += "and " + std::to_string(seen.calls_left_out) + " more calls\n";
  return lines;
}

std::size_t length_of_headers(std::string_view output) {
  const std::size_t end = output.find("\n\n");
  return end == std::string_view::npos ? 0 : end + 2;
}

}  // namespace quillet::dev
