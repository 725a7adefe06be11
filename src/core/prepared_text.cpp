#include "core/prepared_text.h"

#include <cstddef>

#include "core/calls.h"
#include "core/evaluator.h"
#include "core/preparation.h"
#include "core/scanner.h"

namespace quillet {

namespace {

// Where texts are that are prepared, or will be when they are evaluated. An open-addressing table by address and
// size (linear probing); a place that its keeper left keeps its key until the table grows.
struct place {
  std::string_view bytes;
  repeated_text *keeper = nullptr;  // null: nobody keeps it any more
  const prepared_text *prepared = nullptr;
};

// Never destroyed: a text that lives as long as the process leaves its places at the very end.
std::vector<place> &places = *new std::vector<place>;
std::size_t used_places = 0;  // those that were left included

place &place_of(std::string_view bytes) {
  const std::size_t mask = places.size() - 1;
  std::size_t i = (reinterpret_cast<std::uintptr_t>(bytes.data()) + bytes.size()) * 0x9E3779B97F4A7C15U >> 20;
  for (;; ++i) {
    place &at = places[i & mask];
    if (at.bytes.data() == nullptr || (at.bytes.data() == bytes.data() && at.bytes.size() == bytes.size())) return at;
  }
}

void grow_places() {
  std::vector<place> old(places.empty() ? 64 : places.size() * 2);
  old.swap(places);
  used_places = 0;
  for (const place &each : old) {
    if (each.keeper == nullptr) continue;
    place_of(each.bytes) = each;
    ++used_places;
  }
}

constinit const char not_now_place = '\0';

}  // namespace

// An address that no text has; a text of its own would be made at the start of every page.
const prepared_call::outcome prepared_call::not_now = {reinterpret_cast<const prepared_text *>(&not_now_place),
                                                       nullptr};

// --- parts ---

const prepared_text &prepared_part::find_code() {
  code_ = &keeper_.prepare(source_);
  return *code_;
}

void prepared_part::evaluate(text &out) {
  if (!has_markup(source_)) return out.append(source_);
  code().expand(out);
}

// --- the flat code ---

prepared_text::prepared_text(repeated_text &keeper, std::string_view source) : keeper_(&keeper) {
  scanner(source, *this).run();
  add(instruction::is_end);
  for (instruction &each : instructions_) each.parameters = parameters_.data() + each.first;
}

prepared_text::instruction &prepared_text::add(instruction::kind what) {
  instructions_.push_back(
      {what, 0, false, static_cast<std::uint32_t>(parameters_.size()), {{}}, nullptr, nullptr, nullptr});
  return instructions_.back();
}

void prepared_text::literal(std::string_view bytes) {
  if (bytes.empty()) return;
  if (bytes.size() > text::padded_size) {
    add(instruction::is_literal).bytes = bytes;
  } else {
    instruction &added = add(instruction::is_short_literal);
    added.size = static_cast<std::uint8_t>(bytes.size());
    bytes.copy(added.short_bytes, bytes.size());
  }
}

void prepared_text::call(std::string_view name, const parameters &parameters) {
  const operator_entry *const entry = find_operator(name);
  instruction &added = add(instruction::is_call);
  added.bytes = name;
  added.entry = entry;
  added.size = static_cast<std::uint8_t>(parameters.count());
  for (int i = 0; i < parameters.count(); ++i) {
    const bool plain = !has_markup(parameters[i]);
    parameters_.push_back({parameters[i], plain});
    if (!plain) keeper_->add_place(parameters[i]);
  }
  if (entry == nullptr || entry->prepare == nullptr) return;
  if (entry->parameter_count != 0 && entry->parameter_count != parameters.count()) return;
  std::unique_ptr<prepared_call> prepared = entry->prepare(parameters, *keeper_);
  if (prepared == nullptr) return;
  added.what = instruction::is_prepared_call;
  added.counts = !entry->is_pure;
  added.prepared = prepared.get();
  calls_.push_back(std::move(prepared));
}

// The prepared calls whose results are completed by a text that is being expanded. They are frames here and not of
// the C++ stack: a macro 200 deep takes a fifth less time so. Each of them is a call under way, of which there are no
// more than this.
struct prepared_text::open_calls {
  struct frame {
    const instruction *resume;
    int *held;
  };
  static inline frame frames[max_call_depth];
  static inline frame *top = frames;
  frame *const outer = top;

  open_calls() = default;
  open_calls(const open_calls &) = delete;
  open_calls &operator=(const open_calls &) = delete;
  ~open_calls() {
    while (top != outer) leave();
  }
  static const instruction *leave() {
    const frame &left = *--top;
    --calls.depth;
    if (left.held != nullptr) --*left.held;
    return left.resume;
  }
};

// Makes a prepared call, which counts as under way from now on unless it cannot be made now.
[[gnu::always_inline]] inline prepared_call::outcome prepared_text::make_call(const instruction &call, text &out) {
  ++calls.depth;
  calls.effects += static_cast<unsigned long>(call.counts);
  try {
    const prepared_call::outcome made = call.prepared->make(out);
    if (made.rest == prepared_call::not_now.rest) --calls.depth;
    return made;
  } catch (...) {
    --calls.depth;
    throw;
  }
}

void prepared_text::expand(text &out) const {
  const open_calls open;
  const instruction *at = instructions_.data();
  for (;;) {
    switch (at->what) {
      case instruction::is_short_literal:
        out.append_padded(at->short_bytes, at->size);
        ++at;
        continue;
      case instruction::is_literal:
        out.append(at->bytes);
        ++at;
        continue;
      case instruction::is_end:
        if (open_calls::top == open.outer) return;
        at = open_calls::leave();
        continue;
      case instruction::is_prepared_call: {
        if (calls.depth >= max_call_depth) break;
        const prepared_call::outcome made = make_call(*at, out);
        if (made.rest == prepared_call::not_now.rest) break;
        ++at;
        if (made.rest == nullptr) {
          --calls.depth;
        } else {
          *open_calls::top++ = {at, made.held};
          at = made.rest->instructions_.data();
        }
        continue;
      }
      case instruction::is_call:
        break;
    }
    call_handler(*at, out);
    ++at;
  }
}

void prepared_text::call_handler(const instruction &call, text &out) {
  parameters parameters;
  for (const parameter *each = call.parameters; each < call.parameters + call.size; ++each) {
    parameters.add(each->bytes, each->plain);
  }
  call_operator(call.entry, call.bytes, parameters, out);
}

// --- repeated texts ---

repeated_text::repeated_text(std::string_view source) : source_(source) {}

repeated_text::~repeated_text() {
  for (const std::string_view part : places_) {
    place &left = place_of(part);
    if (left.keeper == this) left.keeper = nullptr;
  }
}

void repeated_text::add_place(std::string_view part) {
  if (used_places * 2 >= places.size()) grow_places();
  place &added = place_of(part);
  if (added.keeper != nullptr) return;
  if (added.bytes.data() == nullptr) ++used_places;
  added = {part, this, nullptr};
  places_.push_back(part);
}

const prepared_text &repeated_text::prepare(std::string_view part) {
  if (place *known = places.empty() ? nullptr : &place_of(part); known != nullptr && known->keeper == this) {
    if (known->prepared != nullptr) return *known->prepared;
  }
  texts_.push_back(std::make_unique<prepared_text>(*this, part));
  const prepared_text &made = *texts_.back();
  add_place(part);
  place &own = place_of(part);
  if (own.keeper == this) own.prepared = &made;
  return made;
}

const prepared_text &repeated_text::code() {
  if (code_ == nullptr) code_ = find_prepared_text(source_);
  if (code_ == nullptr) code_ = &prepare(source_);
  return *code_;
}

void repeated_text::evaluate(text &out) {
  if (!preparation_enabled()) return quillet::evaluate(source_, out);
  code().expand(out);
}

const prepared_text *find_prepared_text(std::string_view source) {
  if (places.empty()) return nullptr;
  const place &found = place_of(source);
  if (found.keeper == nullptr) return nullptr;
  return found.prepared != nullptr ? found.prepared : &found.keeper->prepare(source);
}

}  // namespace quillet
