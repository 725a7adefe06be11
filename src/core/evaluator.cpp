#include "core/evaluator.h"

#include <algorithm>
#include <vector>

#include "core/calls.h"
#include "core/onlooker.h"
#include "core/scan.h"
#include "core/scanner.h"

namespace quillet {

namespace {

// The next byte that means something inside a parameter list.
std::size_t next_list_byte(std::string_view source, std::size_t from) {
  return find_one_of<'[', ']', ';', '`', '^'>(source, from);
}

// Makes the calls as they are found.
struct expanding_sink {
  text &out;
  void literal(std::string_view bytes) { out.append(bytes); }
  void call(std::string_view name, parameters &parameters) { invoke_operator(name, parameters, out); }
};

// The same, with an onlooker told of all of it.
struct watched_sink {
  text &out;
  void literal(std::string_view bytes) {
    current_onlooker->literal(bytes, out);
    out.append(bytes);
  }
  void call(std::string_view name, parameters &parameters) {
    const call_scope scope(name, parameters, out);
    invoke_operator(name, parameters, out);
  }

 private:
  class call_scope {
   public:
    call_scope(std::string_view name, const parameters &parameters, const text &out) : out_(out) {
      current_onlooker->call_begins(name, parameters, out);
    }
    call_scope(const call_scope &) = delete;
    call_scope &operator=(const call_scope &) = delete;
    ~call_scope() { current_onlooker->call_ends(out_); }

   private:
    const text &out_;
  };
};

// Counts a call of a known operator while it runs, however it ends.
class depth_scope {
 public:
  depth_scope() = default;
  depth_scope(const depth_scope &) = delete;
  depth_scope &operator=(const depth_scope &) = delete;
  ~depth_scope() { --calls.depth; }
};

// Apart from `call_operator`, whose frame is on the stack once for each level of nesting.
[[gnu::noinline]] void append_refusal(text &out) {
  constexpr std::string_view message = "[infinite operator recursion detected]";
  out.append(message);
  tell_message(message);
}

// Deliberate: the message about an empty name has no closing bracket.
[[gnu::noinline]] void append_message(std::string_view message, std::string_view name, text &out) {
  const text whole = concat({message, name, "]"});
  out.append(whole);
  tell_message(whole);
}

}  // namespace

std::size_t split_parameters(std::string_view call, parameters &parameters) {
  std::size_t level = 1;
  std::size_t start = 1;
  bool in_backticks = false;
  for (std::size_t k = 1; (k = next_list_byte(call, k)) < call.size(); ++k) {
    const char c = call[k];
    if (c == '`') {
      in_backticks = !in_backticks;
    } else if (c == '^') {
      // Deliberate: a caret does not protect a backtick.
      if (++k < call.size() && call[k] == '`') in_backticks = !in_backticks;
    } else if (in_backticks) {
      continue;
    } else if (c == '[') {
      ++level;
    } else if (c == ']' && --level > 0) {
      continue;
    } else if (level <= 1) {
      // Deliberate: the twentieth parameter makes the call literal text.
      if (parameters.count() == max_parameters) return 0;
      parameters.add(without_backticks(call.substr(start, k - start)));
      if (level == 0) return k;
      start = k + 1;
    }
  }
  return 0;
}

// The "[" of a text whose parameter list cannot be split, whichever "^" a call starts at: no "]" closes
// it, or it has too many parameters. Finding one by splitting may mean reading to the end of the text;
// asked only after that has happened once, this finds all of them in one pass, so that a text full of
// such calls still takes linear time.
//
// From a "[" onwards, whether a later byte counts depends only on its position: it must not be
// escaped, and the number of backticks between the two must be even. So there are two interleaved
// bracket sequences, by the parity of the backticks before them. Going backwards, each "]" opens a
// level that its "[" closes; the separators met in between are that level's own.
std::vector<std::size_t> find_unsplittable(std::string_view source) {
  std::vector<std::size_t> unsplittable;
  std::size_t parity = static_cast<std::size_t>(std::count(source.begin(), source.end(), '`')) & 1;
  std::vector<int> separators[2];  // of each level that is open after the current byte, the innermost last
  for (std::size_t k = source.size(); k-- > 0;) {
    const char c = source[k];
    if (c == '`') parity ^= 1;
    if (c != '[' && c != ']' && c != ';') continue;
    std::vector<int> &levels = separators[parity];
    if (c == '[' && (levels.empty() || levels.back() >= max_parameters)) unsplittable.push_back(k);
    std::size_t carets = 0;
    while (carets < k && source[k - 1 - carets] == '^') ++carets;
    if ((carets & 1) != 0) continue;
    if (c == ']') {
      levels.push_back(0);
    } else if (levels.empty()) {
      continue;
    } else if (c == '[') {
      levels.pop_back();
    } else {
      ++levels.back();
    }
  }
  std::reverse(unsplittable.begin(), unsplittable.end());
  return unsplittable;
}

void call_operator(const operator_entry *entry, std::string_view name, parameters &parameters, text &out) {
  // Deliberate: a refused call and a call of an unknown name stay counted for the rest of the process.
  const bool refused = ++calls.depth > max_call_depth;
  if (refused || entry == nullptr || !entry->is_pure) ++calls.effects;
  if (refused) return append_refusal(out);
  if (entry == nullptr) return append_message("[invalid operator ", name, out);

  const depth_scope scope;
  if ((entry->flags & lazy) == 0) parameters.evaluate_all_in_place();
  if (entry->parameter_count != 0 && entry->parameter_count != parameters.count()) {
    return append_message("[invalid parameters to operator ", name, out);
  }
  entry->handler(parameters, out);
}

void invoke_operator(std::string_view name, parameters &parameters, text &out) {
  call_operator(find_operator(name), name, parameters, out);
}

text evaluate_copy(std::string_view source) {
  text result;
  evaluate(source, result);
  return result;
}

namespace {

[[gnu::noinline]] void watch_and_expand(std::string_view source, text &out) {
  struct text_scope {
    const text &out;
    ~text_scope() { current_onlooker->text_ends(out); }
  };
  current_onlooker->text_begins(source, out);
  const text_scope scope{out};
  watched_sink sink{out};
  scanner(source, sink).run();
}

// Apart from `evaluate`, whose frame is on the stack once for each level of nesting.
[[gnu::noinline]] void scan_and_expand(std::string_view source, text &out) {
  if (is_watched()) return watch_and_expand(source, out);
  expanding_sink sink{out};
  scanner(source, sink).run();
}

}  // namespace

void evaluate(std::string_view source, text &out) {
  if (const prepared_text *prepared = find_prepared_text(source)) return prepared->expand(out);
  scan_and_expand(source, out);
}

int call_depth() { return calls.depth; }

void forget_calls() { calls = {}; }

unsigned long effect_count() { return calls.effects; }

}  // namespace quillet
