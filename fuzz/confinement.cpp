#include "confinement.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "next_function.h"

namespace {

using quillet_fuzz::next_function;

std::string confined_to;  // with a "/" at its end; empty for nothing
std::string working_folder_now;

bool leads_outside(const char *path) {
  if (confined_to.empty()) return false;
  const std::string_view name(path);
  const bool is_absolute = name.starts_with('/');
  if (name.find("..") == std::string_view::npos) return is_absolute && !name.starts_with(confined_to);
  const std::string whole = is_absolute ? path : working_folder_now + '/' + path;
  return !std::filesystem::path(whole).lexically_normal().native().starts_with(confined_to);
}

int refuse() {
  errno = EACCES;
  return -1;
}

}  // namespace

extern "C" {

int open(const char *path, int flags, ...) {
  static auto *const real = next_function<int(const char *, int, mode_t)>("open");
  mode_t mode = 0;
  if ((flags & (O_CREAT | O_TMPFILE)) != 0) {
    std::va_list rest;
    va_start(rest, flags);
    mode = va_arg(rest, mode_t);
    va_end(rest);
  }
  return leads_outside(path) ? refuse() : real(path, flags, mode);
}

DIR *opendir(const char *path) {
  static auto *const real = next_function<DIR *(const char *)>("opendir");
  if (!leads_outside(path)) return real(path);
  errno = EACCES;
  return nullptr;
}

int unlink(const char *path) noexcept {
  static auto *const real = next_function<int(const char *)>("unlink");
  return leads_outside(path) ? refuse() : real(path);
}

int mkdir(const char *path, mode_t mode) noexcept {
  static auto *const real = next_function<int(const char *, mode_t)>("mkdir");
  return leads_outside(path) ? refuse() : real(path, mode);
}

int linkat(int old_folder, const char *old_path, int folder, const char *path, int flags) noexcept {
  static auto *const real = next_function<int(int, const char *, int, const char *, int)>("linkat");
  return leads_outside(path) ? refuse() : real(old_folder, old_path, folder, path, flags);
}

int utime(const char *path, const utimbuf *times) noexcept {
  static auto *const real = next_function<int(const char *, const utimbuf *)>("utime");
  return leads_outside(path) ? refuse() : real(path, times);
}

}  // extern "C"

namespace quillet_fuzz {

confinement::confinement(const std::string &folder, const std::string &working_folder)
    : before_(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)) {
  if (before_ < 0 || chdir(working_folder.c_str()) != 0) std::abort();
  confined_to = folder + '/';
  working_folder_now = working_folder;
}

confinement::~confinement() {
  confined_to.clear();
  if (fchdir(before_) != 0) std::abort();
  close(before_);
}

}  // namespace quillet_fuzz
