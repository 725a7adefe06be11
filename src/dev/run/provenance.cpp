#include "dev/run/provenance.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "core/evaluator.h"

namespace quillet::dev {

namespace {

// Values that nobody evaluates again fill up the list; a page that makes more has lost the oldest.
constexpr std::size_t most_values = 2000;
constexpr std::size_t longest_value = 64 * 1024;
// A page that evaluates ever other values is not held up by it.
constexpr std::size_t most_searches = 5000;

std::uintptr_t address_of(const char *byte) { return reinterpret_cast<std::uintptr_t>(byte); }

std::vector<std::size_t> find_line_starts(std::string_view bytes) {
  std::vector<std::size_t> starts{0};
  for (std::size_t end = 0; (end = bytes.find('\n', end)) != std::string_view::npos;) starts.push_back(++end);
  return starts;
}

// The call at the front of a text, whole; up to 80 bytes where it does not end.
std::string_view call_at(std::string_view source) {
  const std::size_t bracket = source.find('[');
  if (bracket == std::string_view::npos) return source.substr(0, 80);
  parameters parameters;
  const std::size_t length = split_parameters(source.substr(bracket), parameters);
  return source.substr(0, length == 0 ? 80 : bracket + length + 1);
}

}  // namespace

// --- what is known ---

void provenance::add_text(std::string_view bytes, std::vector<piece> pieces) {
  const std::uintptr_t begin = address_of(bytes.data());
  const std::uintptr_t end = begin + bytes.size();
  auto at = texts_.lower_bound(begin);
  if (at != texts_.begin() && std::prev(at)->first + std::prev(at)->second.bytes.size() > begin) --at;
  while (at != texts_.end() && at->first < end) at = texts_.erase(at);
  texts_.emplace(begin, known_text{std::string(bytes), std::move(pieces)});
}

int provenance::add_file(std::string_view path, std::string_view bytes, std::string_view kept,
                         std::span<const kept_piece> kept_pieces) {
  // A file that is included again and again is one file, as long as it stays the same.
  const auto known = last_numbers_.find(path);
  const bool is_known = known != last_numbers_.end() && files_[static_cast<std::size_t>(known->second)].bytes == bytes;
  const int number = is_known ? known->second : static_cast<int>(paths_.size());
  if (!is_known) {
    paths_.emplace_back(path);
    files_.push_back({std::string(bytes), find_line_starts(bytes)});
    last_numbers_.insert_or_assign(std::string(path), number);
  }
  std::vector<piece> pieces;
  for (const kept_piece &each : kept_pieces) pieces.push_back({each.at, {number, each.source}});
  add_text(kept, std::move(pieces));
  return number;
}

void provenance::add_copies(std::string_view made, std::span<const std::string_view> parts) {
  std::vector<piece> pieces;
  std::size_t at = 0;
  for (const std::string_view part : parts) {
    std::size_t offset = 0;
    const known_text *const from = find_same(part.data(), made.substr(at, part.size()), offset);
    pieces.push_back({at, from == nullptr ? origin{} : origin_at(*from, offset)});
    if (from != nullptr) {
      for (auto each = piece_after(*from, offset); each != from->pieces.end() && each->at < offset + part.size();
           ++each) {
        pieces.push_back({at + each->at - offset, each->from});
      }
    }
    at += part.size();
  }
  add_text(made, std::move(pieces));
}

void provenance::add_value(std::string_view value, std::vector<caret> carets) {
  if (value.size() > longest_value) return;
  if (values_.size() == most_values) values_.pop_front();
  values_.push_back({std::string(value), std::move(carets)});
}

// --- what is asked ---

const provenance::known_text *provenance::find_text(const char *address, std::size_t &offset) const {
  auto at = texts_.upper_bound(address_of(address));
  if (at == texts_.begin()) return nullptr;
  --at;
  offset = address_of(address) - at->first;
  return offset < at->second.bytes.size() ? &at->second : nullptr;
}

const provenance::known_text *provenance::find_same(const char *address, std::string_view bytes,
                                                    std::size_t &offset) const {
  const known_text *const found = find_text(address, offset);
  return found != nullptr && found->bytes.compare(offset, bytes.size(), bytes) == 0 ? found : nullptr;
}

std::vector<provenance::piece>::const_iterator provenance::piece_after(const known_text &in, std::size_t offset) {
  return std::upper_bound(in.pieces.begin(), in.pieces.end(), offset,
                          [](std::size_t wanted, const piece &each) { return wanted < each.at; });
}

origin provenance::origin_at(const known_text &in, std::size_t offset) {
  const auto after = piece_after(in, offset);
  if (after == in.pieces.begin()) return {};
  const piece &holds = *std::prev(after);
  return holds.from.is_known() ? origin{holds.from.file, holds.from.offset + offset - holds.at} : origin{};
}

origin provenance::origin_of(std::string_view from) const {
  std::size_t offset = 0;
  const known_text *const found = find_text(from.data(), offset);
  return found == nullptr ? origin{} : origin_at(*found, offset);
}

// A call that only one of the files has, and only once.
std::optional<origin> provenance::search_files(std::string_view call) {
  std::optional<origin> found;
  if (call.size() < 3 || ++searches_ > most_searches) return found;
  for (const auto &[path, file] : last_numbers_) {
    const std::string_view bytes = files_[static_cast<std::size_t>(file)].bytes;
    for (std::size_t at = 0; (at = bytes.find(call, at)) != std::string_view::npos; ++at) {
      if (found) return std::nullopt;
      found = origin{file, at};
    }
  }
  return found;
}

std::vector<provenance::caret> provenance::carets_of(std::string_view value) const {
  for (auto made = values_.rbegin(); made != values_.rend(); ++made) {
    if (made->bytes == value) return made->carets;
  }
  return {};
}

void provenance::learn(std::string_view source) {
  std::size_t offset = 0;
  if (find_same(source.data(), source, offset) != nullptr) return;
  const std::vector<caret> carets = carets_of(source);
  std::vector<piece> pieces{{0, {}}};
  for (std::size_t at = 0; (at = source.find('^', at)) != std::string_view::npos; ++at) {
    const auto same = std::find_if(carets.begin(), carets.end(), [at](const caret &each) { return each.at == at; });
    origin from = same != carets.end() ? same->from : origin{};
    if (!from.is_known()) from = search_files(call_at(source.substr(at))).value_or(origin{});
    if (pieces.back().at == at) pieces.pop_back();
    pieces.push_back({at, from});
  }
  add_text(source, std::move(pieces));
}

line_and_column provenance::line_of(const origin &from) const {
  if (!from.is_known()) return {};
  const std::vector<std::size_t> &starts = files_[static_cast<std::size_t>(from.file)].line_starts;
  const auto after = std::upper_bound(starts.begin(), starts.end(), from.offset);
  return {static_cast<std::uint32_t>(after - starts.begin()),
          static_cast<std::uint32_t>(from.offset - *std::prev(after) + 1)};
}

}  // namespace quillet::dev
