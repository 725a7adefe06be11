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

std::vector<place> places;
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
const prepared_text *const prepared_call::not_now = reinterpret_cast<const prepared_text *>(&not_now_place);

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
  instructions_.push_back({instruction::is_end, 0, 0, {}, nullptr, nullptr});
}

void prepared_text::literal(std::string_view bytes) {
  if (!bytes.empty()) instructions_.push_back({instruction::is_literal, 0, 0, bytes, nullptr, nullptr});
}

void prepared_text::call(std::string_view name, const parameters &parameters) {
  const operator_entry *const entry = find_operator(name);
  instructions_.push_back({instruction::is_call, static_cast<std::uint8_t>(parameters.count()),
                           static_cast<std::uint32_t>(parameters_.size()), name, entry, nullptr});
  for (int i = 0; i < parameters.count(); ++i) {
    const bool plain = !has_markup(parameters[i]);
    parameters_.push_back({parameters[i], plain});
    if (!plain) keeper_->add_place(parameters[i]);
  }
  if (entry == nullptr || entry->prepare == nullptr) return;
  if (entry->parameter_count != 0 && entry->parameter_count != parameters.count()) return;
  std::unique_ptr<prepared_call> prepared = entry->prepare(parameters, *keeper_);
  instructions_.back().prepared = prepared.get();
  if (prepared != nullptr) calls_.push_back(std::move(prepared));
}

// The prepared calls whose results are completed by a text that is being expanded. They are frames here and not of
// the C++ stack: a macro 200 deep takes a fifth less time so, though a tenth more instructions.
struct prepared_text::open_calls {
  struct frame {
    const prepared_text *code;
    const instruction *resume;
    prepared_call *call;
    void *kept;
  };
  static inline std::vector<frame> frames;
  const std::size_t outer = frames.size();

  open_calls() = default;
  open_calls(const open_calls &) = delete;
  open_calls &operator=(const open_calls &) = delete;
  ~open_calls() {
    while (frames.size() > outer) leave();
  }
  frame leave() {
    const frame left = frames.back();
    frames.pop_back();
    --calls.depth;
    if (left.kept != nullptr) left.call->leave(left.kept);
    return left;
  }
};

void prepared_text::expand(text &out) const {
  open_calls open;
  const prepared_text *code = this;
  const instruction *at = instructions_.data();
  for (;;) {
    if (at->what == instruction::is_literal) {
      out.append(at++->bytes);
      continue;
    }
    if (at->what == instruction::is_end) {
      if (open_calls::frames.size() == open.outer) return;
      const open_calls::frame left = open.leave();
      code = left.code;
      at = left.resume;
      continue;
    }
    const prepared_text *next = prepared_call::not_now;
    void *kept = nullptr;
    if (at->prepared != nullptr && calls.depth < max_call_depth) {
      ++calls.depth;
      if (!at->entry->is_pure) ++calls.effects;
      try {
        next = at->prepared->make(out, kept);
      } catch (...) {
        --calls.depth;
        throw;
      }
      if (next != prepared_call::complete && next != prepared_call::not_now) {
        open_calls::frames.push_back({code, at + 1, at->prepared, kept});
        code = next;
        at = code->instructions_.data();
        continue;
      }
      --calls.depth;
    }
    if (next == prepared_call::not_now) code->call_handler(*at, out);
    ++at;
  }
}

void prepared_text::call_handler(const instruction &call, text &out) const {
  parameters parameters;
  const parameter *const first = parameters_.data() + call.first_parameter;
  for (const parameter *each = first; each < first + call.parameter_count; ++each) {
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
