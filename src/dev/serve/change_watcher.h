// Tells when a file of a site changes.
#pragma once

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace quillet::dev {

class change_watcher {
 public:
  // `is_busy` says whether pages were answered since it was last asked: what they write themselves is no change.
  change_watcher(std::string root, std::string working_directory, std::function<bool()> is_busy);
  change_watcher(const change_watcher &) = delete;
  change_watcher &operator=(const change_watcher &) = delete;
  ~change_watcher();

  // The number of changes so far.
  [[nodiscard]] unsigned changes() const;
  // Waits until there are more changes than that, for at most so many milliseconds; gives their number.
  [[nodiscard]] unsigned wait_for_more(unsigned known, int milliseconds);

 private:
  using file_times = std::map<std::string, std::filesystem::file_time_type>;

  [[nodiscard]] file_times look() const;
  void watch();

  std::string root_;
  std::string working_directory_;
  std::function<bool()> is_busy_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  unsigned changes_ = 0;
  bool ends_ = false;
  std::thread thread_;
};

}  // namespace quillet::dev
