#include "private_folder.h"

#include <cstdlib>
#include <filesystem>

namespace quillet_fuzz {

std::string new_folder() {
  static std::string folder = "/dev/shm/quillet-fuzz-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) std::abort();
  std::atexit([] { std::filesystem::remove_all(folder); });
  return folder;
}

}  // namespace quillet_fuzz
