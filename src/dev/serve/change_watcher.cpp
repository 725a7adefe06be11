#include "dev/serve/change_watcher.h"

#include <chrono>
#include <string_view>
#include <system_error>
#include <utility>

namespace quillet::dev {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds between_looks(250);

// Pages write these by themselves.
bool is_written_by_pages(const std::string &name) {
  return name.ends_with(".count") || name == "access_log" || name == "error_log";
}

}  // namespace

change_watcher::change_watcher(std::string root, std::string working_directory, std::function<bool()> is_busy)
    : root_(std::move(root)),
      working_directory_(std::move(working_directory)),
      is_busy_(std::move(is_busy)),
      thread_([this] { watch(); }) {}

change_watcher::~change_watcher() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

unsigned change_watcher::changes() const {
  const std::lock_guard lock(mutex_);
  return changes_;
}

unsigned change_watcher::wait_for_more(unsigned known, int milliseconds) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, std::chrono::milliseconds(milliseconds),
                    [this, known] { return ends_ || changes_ != known; });
  return changes_;
}

// The working directory is full of what pages write; only the configuration in it counts.
change_watcher::file_times change_watcher::look() const {
  file_times times;
  std::error_code error;
  fs::recursive_directory_iterator each(root_, fs::directory_options::skip_permission_denied, error);
  for (; !error && each != fs::recursive_directory_iterator(); each.increment(error)) {
    std::error_code ignored;
    if (each->is_directory(ignored) || is_written_by_pages(each->path().filename().string())) continue;
    times[each->path().string()] = each->last_write_time(ignored);
  }
  for (const char *name : {"_macro.cfg", ".profile"}) {
    const fs::path path = fs::path(working_directory_) / name;
    const fs::file_time_type time = fs::last_write_time(path, error);
    if (!error) times[path.string()] = time;
  }
  return times;
}

void change_watcher::watch() {
  file_times known = look();
  std::unique_lock lock(mutex_);
  while (!changed_.wait_for(lock, between_looks, [this] { return ends_; })) {
    lock.unlock();
    file_times now = look();
    const bool is_changed = !is_busy_() && now != known;
    known = std::move(now);
    lock.lock();
    if (is_changed) {
      ++changes_;
      changed_.notify_all();
    }
  }
}

}  // namespace quillet::dev
