#include "table/registry.h"

#include <utility>

namespace quillet {

namespace {

constinit table_array tables;

}  // namespace

table *table_array::find(std::string_view name) const {
  int position = 0;
  return search(name, position) ? get(position).get() : nullptr;
}

std::shared_ptr<table> table_array::share_current() const {
  int position = 0;
  return search(current_name_, position) ? get(position) : nullptr;
}

void table_array::put_current(std::unique_ptr<table> made) {
  if (current_ != nullptr) current_->require_unlocked();
  made->set_name(current_name_);
  current_ = made.get();
  int position = 0;
  if (!search(current_name_, position)) return insert(position, std::move(made));
  items()[slot(position)] = nullptr;
  put(position, std::move(made));
}

void table_array::remove_current() {
  if (current_ == nullptr) return;
  current_->require_unlocked();
  current_ = nullptr;
  int position = 0;
  search(current_name_, position);
  remove(position);
}

void table_array::set_current_name(std::string_view name) {
  current_name_ = copy_prefix(name, name.size());
  current_ = find(current_name_);
}

table *find_table(std::string_view name) { return tables.find(name); }

table *current_table() { return tables.current(); }

std::shared_ptr<table> share_current_table() { return tables.share_current(); }

void put_table(std::unique_ptr<table> made) { tables.put_current(std::move(made)); }

void remove_current_table() { tables.remove_current(); }

std::string_view current_table_name() { return tables.current_name(); }

void set_current_table_name(std::string_view name) { tables.set_current_name(name); }

table_name_scope::table_name_scope(std::string_view name) : saved_(tables.current_name()) {
  tables.set_current_name(name);
}

table_name_scope::~table_name_scope() { tables.set_current_name(saved_); }

}  // namespace quillet
