#include "table/registry.h"

#include <utility>

namespace quillet {

namespace {

table_array tables;

}  // namespace

table *table_array::find(std::string_view name) const {
  const auto found = tables_.find(name);
  return found == tables_.end() ? nullptr : found->second.get();
}

std::shared_ptr<table> table_array::share_current() const {
  const auto found = tables_.find(current_name_.view());
  return found == tables_.end() ? nullptr : found->second;
}

void table_array::put_current(std::unique_ptr<table> made) {
  remove_current();
  made->set_name(current_name_);
  current_ = made.get();
  tables_.emplace(current_->name(), std::move(made));
}

void table_array::remove_current() {
  if (current_ == nullptr) return;
  current_->require_unlocked();
  current_ = nullptr;
  tables_.erase(tables_.find(current_name_.view()));
}

void table_array::set_current_name(std::string_view name) {
  current_name_ = text_or_null(name);
  current_ = find(current_name_);
}

table *find_table(std::string_view name) { return tables.find(name); }

table *current_table() { return tables.current(); }

std::shared_ptr<table> share_current_table() { return tables.share_current(); }

void put_table(std::unique_ptr<table> made) { tables.put_current(std::move(made)); }

void remove_current_table() { tables.remove_current(); }

std::string_view current_table_name() { return tables.current_name(); }

void set_current_table_name(std::string_view name) { tables.set_current_name(name); }

void forget_tables() { tables = {}; }

table_name_scope::table_name_scope(std::string_view name) : saved_(tables.current_name()) {
  tables.set_current_name(name);
}

table_name_scope::~table_name_scope() { tables.set_current_name(saved_); }

}  // namespace quillet
