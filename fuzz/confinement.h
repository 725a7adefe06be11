// Keeps what a page does within a folder: functions in the place of the C library's.
#pragma once

#include <string>

namespace quillet_fuzz {

// While one lives, no file outside the folder is opened, made or removed. The working directory is `working_folder`,
// which is in it.
class confinement {
 public:
  confinement(const std::string &folder, const std::string &working_folder);
  confinement(const confinement &) = delete;
  confinement &operator=(const confinement &) = delete;
  ~confinement();

 private:
  int before_;  // the working directory
};

}  // namespace quillet_fuzz
