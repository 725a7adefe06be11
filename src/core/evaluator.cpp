#include "core/evaluator.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "core/preparation.h"
#include "core/scan.h"

namespace quillet {

namespace {

int depth = 0;
unsigned long effects = 0;

// The next byte that means something inside a parameter list.
std::size_t next_list_byte(std::string_view source, std::size_t from) {
  return find_one_of<'[', ']', ';', '`', '^'>(source, from);
}

// A parameter wholly inside backticks is the text between them.
std::string_view strip_backticks(std::string_view parameter) {
  if (parameter.size() < 2 || parameter.front() != '`' || parameter.back() != '`') return parameter;
  return parameter.substr(1, parameter.size() - 2);
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

// One pass over a template text. Literal bytes and calls go to a sink in their order:
//   literal(bytes)            the bytes are a part of the source
//   call(name, parameters)    to be made now, or kept
template <class sink>
class scanner {
 public:
  scanner(std::string_view source, sink &to) : source_(source), to_(to) {}

  void run() {
    std::size_t at = 0;
    for (std::size_t caret; (caret = source_.find('^', at)) != std::string_view::npos;) {
      to_.literal(source_.substr(at, caret - at));
      at = caret + 1;
      if (at == source_.size()) return;  // Deliberate: a "^" at the very end is removed.
      const char next = source_[at];
      if (next == '^' || next == ';') {
        to_.literal(source_.substr(at, 1));
        ++at;
      } else if (const std::size_t end = call(at); end != 0) {
        at = end;
      } else {
        to_.literal(source_.substr(caret, 1));
      }
    }
    to_.literal(source_.substr(at));
  }

 private:
  // Passes on the call whose name starts at `name`; gives the position after its "]", 0 when it is none.
  std::size_t call(std::size_t name) {
    if (bracket_ != std::string_view::npos && bracket_ < name) bracket_ = source_.find('[', name);
    if (bracket_ == std::string_view::npos || is_unsplittable(bracket_)) return 0;
    parameters parameters;
    const std::size_t length = split_parameters(source_.substr(bracket_), parameters);
    if (length == 0) {
      if (!unsplittable_) unsplittable_ = find_unsplittable(source_);
      return 0;
    }
    const std::size_t end = bracket_ + length + 1;
    to_.call(source_.substr(name, bracket_ - name), parameters);
    return end;
  }

  [[nodiscard]] bool is_unsplittable(std::size_t bracket) const {
    return unsplittable_ && std::binary_search(unsplittable_->begin(), unsplittable_->end(), bracket);
  }

  std::string_view source_;
  sink &to_;
  std::size_t bracket_ = 0;                               // the last "[" looked up; npos: there are no more
  std::optional<std::vector<std::size_t>> unsplittable_;  // known after the first call that was none
};

// Makes the calls as they are found.
struct expanding_sink {
  text &out;
  void literal(std::string_view bytes) { out.append(bytes); }
  void call(std::string_view name, parameters &parameters) { invoke_operator(name, parameters, out); }
};

// Counts a call of a known operator while it runs, however it ends.
class depth_scope {
 public:
  depth_scope() = default;
  depth_scope(const depth_scope &) = delete;
  depth_scope &operator=(const depth_scope &) = delete;
  ~depth_scope() { --depth; }
};

// Calls the operator; `entry` is null when none has that name.
void call_operator(const operator_entry *entry, std::string_view name, parameters &parameters, text &out) {
  // Deliberate: a refused call and a call of an unknown name stay counted for the rest of the process.
  const bool refused = ++depth > max_call_depth;
  if (refused || entry == nullptr || !entry->is_pure) ++effects;
  if (refused) return out.append("[infinite operator recursion detected]");
  // Deliberate: the message about an empty name has no closing bracket.
  if (entry == nullptr) return out.append(concat({"[invalid operator ", name, "]"}));

  const depth_scope scope;
  if ((entry->flags & lazy) == 0) parameters.evaluate_all_in_place();
  if (entry->parameter_count != 0 && entry->parameter_count != parameters.count()) {
    return out.append(concat({"[invalid parameters to operator ", name, "]"}));
  }
  entry->handler(parameters, out);
}

// A template text in the form in which it is expanded again and again: found once, its literal bytes,
// its calls, their operators and their parameters.
class prepared_text {
 public:
  explicit prepared_text(std::string_view source) : source_(source) { scanner(source, *this).run(); }

  [[nodiscard]] bool is_of(std::string_view source) const {
    return source.data() == source_.data() && source.size() == source_.size();
  }

  void expand(text &out) const {
    for (const piece &next : pieces_) {
      if (next.parameter_count == 0) {
        out.append(next.bytes);
        continue;
      }
      parameters parameters;
      const auto *const first = parameters_.data() + next.first_parameter;
      for (const auto *at = first; at < first + next.parameter_count; ++at) parameters.add(at->bytes, at->plain);
      call_operator(next.entry, next.bytes, parameters, out);
    }
  }

  // What the scanner finds.
  void literal(std::string_view bytes) {
    if (!bytes.empty()) pieces_.push_back({bytes, nullptr, 0, 0});
  }
  void call(std::string_view name, const parameters &parameters) {
    pieces_.push_back({name, find_operator(name), parameters_.size(), static_cast<std::size_t>(parameters.count())});
    for (int i = 0; i < parameters.count(); ++i) parameters_.push_back({parameters[i], !has_markup(parameters[i])});
  }

 private:
  struct piece {
    std::string_view bytes;  // literal, or the name of a call
    const operator_entry *entry;
    std::size_t first_parameter;
    std::size_t parameter_count;  // of a call at least 1
  };
  struct parameter {
    std::string_view bytes;
    bool plain;  // without markup
  };

  std::string_view source_;
  std::vector<piece> pieces_;
  std::vector<parameter> parameters_;
};

}  // namespace

// The prepared parts of one text, found by their position. One that meets another in its place is
// not kept, so that none ever goes while it is being expanded.
struct repeated_text::prepared_texts {
  static constexpr std::size_t places = 64;
  std::unique_ptr<prepared_text> of_place[places];

  [[gnu::noinline]] static void prepare(std::unique_ptr<prepared_text> &place, std::string_view source) {
    place = std::make_unique<prepared_text>(source);
  }

  const prepared_text *find(std::string_view source) {
    const auto key = reinterpret_cast<std::uintptr_t>(source.data()) * 31 + source.size();
    std::unique_ptr<prepared_text> &place = of_place[key % places];
    if (place == nullptr) prepare(place, source);
    return place->is_of(source) ? place.get() : nullptr;
  }
};

repeated_text *repeated_text::innermost = nullptr;

repeated_text::repeated_text(std::string_view source) : source_(source) {}
repeated_text::~repeated_text() = default;

bool repeated_text::holds(std::string_view part) const {
  const std::less_equal<> up_to;
  return up_to(source_.data(), part.data()) && up_to(part.data() + part.size(), source_.data() + source_.size());
}

bool repeated_text::expand(std::string_view part, text &out) {
  if (!preparation_enabled() || !holds(part)) return false;
  if (prepared_ == nullptr) prepared_ = std::make_unique<prepared_texts>();
  const prepared_text *prepared = prepared_->find(part);
  if (prepared != nullptr) prepared->expand(out);
  return prepared != nullptr;
}

repetition_scope::repetition_scope(repeated_text &repeated) : outer_(repeated_text::innermost) {
  if (outer_ == nullptr || !outer_->holds(repeated.source_)) repeated_text::innermost = &repeated;
}

repetition_scope::~repetition_scope() { repeated_text::innermost = outer_; }

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
      parameters.add(strip_backticks(call.substr(start, k - start)));
      if (level == 0) return k;
      start = k + 1;
    }
  }
  return 0;
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

// Apart from `evaluate`, whose frame is on the stack once for each level of nesting.
[[gnu::noinline]] void scan_and_expand(std::string_view source, text &out) {
  expanding_sink sink{out};
  scanner(source, sink).run();
}

}  // namespace

void evaluate(std::string_view source, text &out) {
  if (repeated_text::innermost != nullptr && repeated_text::innermost->expand(source, out)) return;
  scan_and_expand(source, out);
}

int call_depth() { return depth; }

void forget_calls() {
  depth = 0;
  effects = 0;
}

unsigned long effect_count() { return effects; }

}  // namespace quillet
