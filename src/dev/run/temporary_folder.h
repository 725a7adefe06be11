// A folder for a while.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace quillet::dev {

// A new folder, empty at first, which goes with all that is in it. Throws std::runtime_error when none can be made.
class temporary_folder {
 public:
  temporary_folder() : path_((std::filesystem::temp_directory_path() / "quillet-dev-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error(path_ + ": " + std::strerror(errno));
  }
  temporary_folder(const temporary_folder &) = delete;
  temporary_folder &operator=(const temporary_folder &) = delete;
  ~temporary_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  [[nodiscard]] const std::string &path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace quillet::dev
