#include "core/operators.h"

#include <cstddef>
#include <cstdint>

#include "core/end.h"
#include "core/onlooker.h"

namespace quillet {

namespace {

constexpr std::size_t registry_capacity = 192;
constexpr std::size_t index_size = 512;  // a power of two, well above the capacity

// Entries in order of registration, and an open-addressing index over their names (linear probing).
// Both live in zeroed static memory: registering costs no heap block.
struct operator_registry {
  operator_entry entries[registry_capacity];
  std::size_t entry_count;
  std::uint8_t index_slots[index_size];  // entry number + 1; 0: free
};

constinit operator_registry registry = {};

// FNV-1a; names are a few bytes long.
std::size_t hash_name(std::string_view name) {
  std::uint32_t hash = 2166136261U;
  for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
  return (hash ^ (hash >> 15)) & (index_size - 1);
}

// The index slot that holds `name`, or the free one where it belongs.
std::uint8_t &index_slot(std::string_view name) {
  std::size_t i = hash_name(name);
  while (registry.index_slots[i] != 0 && registry.entries[registry.index_slots[i] - 1].name != name) {
    i = (i + 1) & (index_size - 1);
  }
  return registry.index_slots[i];
}

constexpr std::size_t longest_name = 64;  // keeps a page-sized "name" from being hashed

}  // namespace

void register_operator(std::string_view name, operator_handler handler, int parameter_count, unsigned flags,
                       bool is_pure, operator_preparation prepare) {
  if (name.empty() || name.size() > longest_name) return;
  std::uint8_t &slot = index_slot(name);
  if (slot != 0) return;
  if (registry.entry_count == registry_capacity) fatal("operator registry full");
  registry.entries[registry.entry_count] = {handler, name, parameter_count, flags, is_pure, prepare};
  slot = static_cast<std::uint8_t>(++registry.entry_count);
}

void register_operators(std::span<const operator_definition> definitions) {
  for (const operator_definition &definition : definitions) {
    register_operator(definition.name, definition.handler, definition.parameter_count, definition.flags,
                      definition.is_pure, definition.prepare);
  }
}

const operator_entry *find_operator(std::string_view name) {
  if (name.empty() || name.size() > longest_name) return nullptr;
  const std::uint8_t slot = index_slot(name);
  return slot == 0 ? nullptr : &registry.entries[slot - 1];
}

std::span<const operator_entry> registered_operators() { return {registry.entries, registry.entry_count}; }

void append_error(text &out, std::string_view operator_name, std::string_view message) {
  const std::size_t start = out.size();
  out.append('[');
  out.append(operator_name);
  out.append(": ");
  out.append(message);
  out.append(']');
  tell_message(out.view().substr(start));
}

}  // namespace quillet
