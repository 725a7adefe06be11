#include "core/evaluator.h"

#include <algorithm>
#include <vector>

#include "core/scan.h"

namespace quillet {

namespace {

int depth = 0;

// The next byte that means something inside a parameter list.
std::size_t next_list_byte(std::string_view source, std::size_t from) {
  return find_one_of<'[', ']', ';', '`', '^'>(source, from);
}

// A parameter wholly inside backticks is what stands between them.
std::string_view strip_backticks(std::string_view parameter) {
  if (parameter.size() < 2 || parameter.front() != '`' || parameter.back() != '`') return parameter;
  return parameter.substr(1, parameter.size() - 2);
}

// The "[" of a text that no "]" closes, whichever "^" a call starts at. Finding one by splitting means
// reading to the end of the text; asked only after that has happened once, this finds all of them in
// one pass, so that a text full of unclosed calls still takes linear time.
//
// From a "[" onwards, whether a later bracket counts depends only on where it stands: it must not be
// escaped, and the number of backticks between the two must be even. So there are two interleaved
// bracket sequences, by the parity of the backticks before them, and a "[" is closed when the nesting
// of its sequence falls below its own level at some later byte.
std::vector<std::size_t> find_unclosed(std::string_view source) {
  std::vector<std::size_t> unclosed;
  std::size_t parity = static_cast<std::size_t>(std::count(source.begin(), source.end(), '`')) & 1;
  long long lowest[2] = {0, 0};  // of the nesting behind the current byte, relative to it, or 0
  for (std::size_t k = source.size(); k-- > 0;) {
    if (source[k] == '`') parity ^= 1;
    if (source[k] != '[' && source[k] != ']') continue;
    if (source[k] == '[' && lowest[parity] >= 0) unclosed.push_back(k);
    std::size_t carets = 0;
    while (carets < k && source[k - 1 - carets] == '^') ++carets;
    const bool escaped = (carets & 1) != 0;
    if (!escaped) lowest[parity] = std::min(lowest[parity], 0LL) + (source[k] == '[' ? 1 : -1);
  }
  std::reverse(unclosed.begin(), unclosed.end());
  return unclosed;
}

// One pass over a template text.
class expander {
 public:
  expander(std::string_view source, text &out) : source_(source), out_(out) {}

  void run() {
    std::size_t at = 0;
    for (std::size_t caret; (caret = source_.find('^', at)) != std::string_view::npos;) {
      out_.append(source_.substr(at, caret - at));
      at = caret + 1;
      if (at == source_.size()) return;  // Deliberate: a "^" at the very end is removed.
      const char next = source_[at];
      if (next == '^' || next == ';') {
        out_.append(next);
        ++at;
      } else if (const std::size_t end = call(at); end != 0) {
        at = end;
      } else {
        out_.append('^');
      }
    }
    out_.append(source_.substr(at));
  }

 private:
  // Makes the call whose name starts at `name`; gives the position behind its "]", 0 when it is none.
  std::size_t call(std::size_t name) {
    if (bracket_ != std::string_view::npos && bracket_ < name) bracket_ = source_.find('[', name);
    if (bracket_ == std::string_view::npos || is_unclosed(bracket_)) return 0;
    parameters parameters;
    const std::size_t length = split_parameters(source_.substr(bracket_), parameters);
    if (length == 0) {
      if (!unclosed_) unclosed_ = find_unclosed(source_);
      return 0;
    }
    const std::size_t end = bracket_ + length + 1;
    invoke_operator(source_.substr(name, bracket_ - name), parameters, out_);
    return end;
  }

  [[nodiscard]] bool is_unclosed(std::size_t bracket) const {
    return unclosed_ && std::binary_search(unclosed_->begin(), unclosed_->end(), bracket);
  }

  std::string_view source_;
  text &out_;
  std::size_t bracket_ = 0;  // the last "[" looked up; npos: there are no more
  std::optional<std::vector<std::size_t>> unclosed_;  // known after the first call that was none
};

// Counts a call of a known operator while it runs, however it ends.
class depth_scope {
 public:
  depth_scope() = default;
  depth_scope(const depth_scope &) = delete;
  depth_scope &operator=(const depth_scope &) = delete;
  ~depth_scope() { --depth; }
};

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
      // The byte behind it is protected; a backtick toggles all the same.
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
      parameters.add(strip_backticks(call.substr(start, k - start)));
      if (level == 0) return k;
      start = k + 1;
    }
  }
  return 0;
}

void invoke_operator(std::string_view name, parameters &parameters, text &out) {
  // Deliberate: a refused call and a call of an unknown name stay counted for the rest of the process.
  if (++depth > max_call_depth) return out.append("[infinite operator recursion detected]");
  const operator_entry *entry = find_operator(name);
  if (entry == nullptr) return out.append(concat({"[invalid operator ", name, "]"}));

  const depth_scope scope;
  if ((entry->flags & lazy) == 0) parameters.evaluate_all_in_place();
  if (entry->parameter_count != 0 && entry->parameter_count != parameters.count()) {
    return out.append(concat({"[invalid parameters to operator ", name, "]"}));
  }
  entry->handler(parameters, out);
}

text evaluate_copy(std::string_view source) {
  text result;
  evaluate(source, result);
  return result;
}

void evaluate(std::string_view source, text &out) { expander(source, out).run(); }

int call_depth() { return depth; }

}  // namespace quillet
