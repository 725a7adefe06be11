#include "dev/run/recorder.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "core/evaluator.h"
#include "core/file.h"
#include "core/quoting.h"
#include "table/registry.h"

namespace quillet::dev {

namespace {

// What is kept of one request: enough for every page that anyone reads through.
constexpr std::size_t most_calls = 20000;
constexpr std::size_t most_profile_nodes = 50000;
constexpr std::size_t most_messages = 1000;
constexpr std::size_t most_bytes = 400;  // of a parameter, a result or dropped bytes

constexpr int status_stopped = 124;

volatile std::sig_atomic_t is_stopped = 0;

std::int64_t nanoseconds_of(std::chrono::steady_clock::duration time) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(time).count();
}

std::string cut(std::string_view bytes) { return std::string(bytes.substr(0, most_bytes)); }

// These look for files that ought to be there.
bool needs_its_file(std::string_view operator_name) {
  for (const std::string_view name : {"include", "load", "macro_use", "imgsize", "jpegsize", "gifsize"}) {
    if (operator_name == name) return true;
  }
  return false;
}

// Of a path in the working directory, too; without "." and "..".
std::string whole_path(std::string_view path) {
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::absolute(path, error);
  return error ? std::string(path) : whole.lexically_normal().string();
}

}  // namespace

void recorder::stop_soon() { is_stopped = 1; }

// --- places ---

place recorder::place_of(const origin &from) const {
  if (!from.is_known()) return {};
  const line_and_column at = known_.line_of(from);
  return {from.file, at.line, at.column};
}

// Of a call whose name that is: its caret is the byte before.
place recorder::place_of_call(std::string_view name) const {
  place where = place_of(known_.origin_of({name.data() - 1, 1}));
  if (where.is_known() || calls_.empty()) return where;
  where = calls_.back().where;
  where.is_of_evaluation = true;
  return where;
}

// The macros and included files on the way to the innermost of the first calls, that one left out.
std::vector<chain_link> recorder::chain(std::size_t calls) const {
  std::vector<chain_link> links;
  const auto add = [&links](std::string what, const place &where) {
    if (!links.empty() && links.back().what == what && links.back().where == where) {
      ++links.back().count;
    } else {
      links.push_back({std::move(what), where});
    }
  };
  for (std::size_t i = calls; i-- > 0;) {
    const open_call &each = calls_[i];
    if (!each.macro.empty()) {
      add("macro " + each.macro, each.where);
    } else if (i + 1 < calls && each.has_read_file && (each.name == "include" || each.name == "macro_use")) {
      add(each.name + " " + std::string(each.given->last()), each.where);
    }
  }
  return links;
}

// --- files and texts ---

void recorder::file_read(std::string_view path, std::string_view bytes, std::string_view kept,
                         std::span<const kept_piece> pieces) {
  const pause paused(*this);
  known_.add_file(whole_path(path), bytes, kept, pieces);
  if (!calls_.empty()) calls_.back().has_read_file = true;
}

void recorder::file_not_opened(std::string_view path) {
  const int error = errno;
  {
    const pause paused(*this);
    if (calls_.empty() || calls_.back().given == nullptr) {
      seen_.missing.push_back({{whole_path(path)}, "", {}, {}});
    } else {
      calls_.back().missing.push_back(whole_path(path));
    }
  }
  errno = error;
}

void recorder::text_made(std::string_view made, std::span<const std::string_view> parts) {
  const pause paused(*this);
  known_.add_copies(made, parts);
}

void recorder::text_begins(std::string_view source, const text &out) {
  const pause paused(*this);
  texts_.push_back({&out, out.size(), carets_.size()});
  if (has_markup(source)) known_.learn(source);
  if (calls_.empty() || calls_.back().given != nullptr || calls_.back().where.is_known()) return;
  open_call &body = calls_.back();
  body.where = place_of(known_.origin_of(source));
  if (body.number >= 0) seen_.calls[static_cast<std::size_t>(body.number)].where = body.where;
}

// Only carets are noted of what a value is made of: a value that is evaluated later makes calls where they are.
void recorder::text_ends(const text &out) {
  const pause paused(*this);
  const open_text ended = texts_.back();
  texts_.pop_back();
  const std::string_view value = out.view().substr(std::min(ended.out_size, out.size()));
  if (carets_.size() > ended.carets && has_markup(value)) {
    std::vector<provenance::caret> carets(carets_.begin() + static_cast<std::ptrdiff_t>(ended.carets), carets_.end());
    for (provenance::caret &each : carets) each.at -= std::min(each.at, ended.out_size);
    known_.add_value(value, std::move(carets));
  }
  if (texts_.empty() || texts_.back().out != ended.out) carets_.resize(ended.carets);
}

void recorder::literal(std::string_view bytes, const text &out) {
  if (!has_markup(bytes)) return;
  const pause paused(*this);
  const origin from = known_.origin_of(bytes);
  if (from.is_known()) carets_.push_back({out.size(), from});
}

// --- calls ---

void recorder::open(open_call call) {
  call.profiled = profile_node_of(call);
  if (seen_.calls.size() < most_calls) {
    call.number = static_cast<int>(seen_.calls.size());
    observed_call &added = seen_.calls.emplace_back();
    for (std::size_t i = calls_.size(); i-- > 0 && added.parent < 0;) added.parent = calls_[i].number;
    added.name = call.name.empty() ? call.macro : call.name;
    added.is_macro_body = call.given == nullptr;
    added.where = call.where;
    added.table = current_table_name();
    const table *const current = current_table();
    added.row = current == nullptr ? -1 : current->current();
    added.mode = quoting_mode_name(current_quoting_mode());
  } else {
    ++seen_.calls_left_out;
  }
  calls_.push_back(std::move(call));
  calls_.back().began = page_time();
}

void recorder::close(std::string_view result) {
  open_call &ended = calls_.back();
  count_in_profile(ended);
  if (ended.number >= 0) note_values(ended, result);
  note_missing(ended);
  calls_.pop_back();
}

void recorder::note_values(const open_call &call, std::string_view result) {
  observed_call &noted = seen_.calls[static_cast<std::size_t>(call.number)];
  for (int i = 0; call.given != nullptr && i < call.given->count(); ++i) {
    noted.parameters.push_back(cut((*call.given)[i]));
  }
  noted.result = cut(result);
  noted.result_size = result.size();
  noted.nanoseconds = nanoseconds_of(page_time() - call.began);
}

void recorder::note_missing(open_call &call) {
  if (call.missing.empty() || call.has_read_file || !needs_its_file(call.name)) return;
  seen_.missing.push_back({std::move(call.missing), call.name, call.where, chain(calls_.size())});
}

void recorder::call_begins(std::string_view name, const parameters &parameters, const text &out) {
  const pause paused(*this);
  if (is_stopped != 0) {
    message("[stopped: the time is over]", {name.data() - 1, 1});
    end();
    std::_Exit(status_stopped);
  }
  open_call call;
  call.name = name;
  call.given = &parameters;
  call.where = place_of_call(name);
  call.out_size = out.size();
  open(std::move(call));
}

void recorder::call_ends(const text &out) {
  const pause paused(*this);
  close(out.view().substr(std::min(calls_.back().out_size, out.size())));
}

void recorder::macro_begins(std::string_view name) {
  const pause paused(*this);
  if (!calls_.empty() && calls_.back().name == "macro" && calls_.back().macro.empty()) {
    calls_.back().macro = name;
    return;
  }
  open_call call;
  call.macro = name;
  open(std::move(call));
}

void recorder::macro_ends() {
  const pause paused(*this);
  if (calls_.back().given == nullptr) {
    close({});
  } else {
    calls_.back().macro.clear();
  }
}

// --- what authors want to know ---

void recorder::message(std::string_view message, std::string_view where) {
  const pause paused(*this);
  const open_call *const call = calls_.empty() || calls_.back().given == nullptr ? nullptr : &calls_.back();
  observed_message said;
  said.message = cut(message);
  if (call != nullptr) said.operator_name = call->name;
  if (!where.empty()) said.where = place_of(known_.origin_of(where));
  if (!said.where.is_known() && call != nullptr) said.where = call->where;
  if (call != nullptr && call->number >= 0) {
    seen_.calls[static_cast<std::size_t>(call->number)].messages.push_back(said.message);
  }
  said.chain = chain(calls_.size());
  const place from = said.chain.empty() ? place() : said.chain.front().where;
  const auto [known, is_new] = message_numbers_.try_emplace(
      {said.message, said.where.file, said.where.line, said.where.column, from.file, from.line, from.column},
      seen_.messages.size());
  if (!is_new) {
    ++seen_.messages[known->second].count;
  } else if (seen_.messages.size() == most_messages) {
    message_numbers_.erase(known);
  } else {
    seen_.messages.push_back(std::move(said));
  }
}

void recorder::dropped(std::string_view what, std::string_view bytes, std::string_view where) {
  const pause paused(*this);
  while (!bytes.empty() && is_white_space(bytes.front())) bytes.remove_prefix(1);
  while (!bytes.empty() && is_white_space(bytes.back())) bytes.remove_suffix(1);
  if (!bytes.empty()) seen_.dropped.push_back({std::string(what), cut(bytes), place_of(known_.origin_of(where))});
}

// --- the profile ---

int recorder::profile_node_of(const open_call &call) {
  const int parent = calls_.empty() ? -1 : calls_.back().profiled;
  std::string label = call.name;
  if (call.given == nullptr) {
    label = "macro " + call.macro;
  } else if (call.name == "macro" && !has_markup((*call.given)[0])) {
    label += ' ' + std::string((*call.given)[0]);
  }
  const auto [known, is_new] = profile_numbers_.try_emplace(
      {parent, label, call.where.file, call.where.line, call.where.column}, static_cast<int>(seen_.profile.size()));
  if (!is_new) return known->second;
  if (seen_.profile.size() == most_profile_nodes) {
    profile_numbers_.erase(known);
    return std::max(parent, 0);
  }
  seen_.profile.push_back({parent, std::move(label), call.where});
  return known->second;
}

void recorder::count_in_profile(const open_call &call) {
  profile_node &node = seen_.profile[static_cast<std::size_t>(call.profiled)];
  ++node.count;
  node.nanoseconds += nanoseconds_of(page_time() - call.began);
}

// --- the end ---

void recorder::end() {
  if (std::exchange(has_ended_, true)) return;
  const pause paused(*this);
  seen_.nanoseconds = nanoseconds_of(page_time() - began_);
  while (!calls_.empty()) close({});
  seen_.is_complete = true;
  seen_.files = known_.paths();
  const std::string bytes = encode(seen_);
  write_all(descriptor_, bytes);
}

}  // namespace quillet::dev
