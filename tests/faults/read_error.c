/* Preloaded into the program, breaks the disk under every file called "broken": it opens, and has its size, but
 * cannot be read.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

static int is_broken(int descriptor) {
  static const char end[] = "/broken";
  char link[64], target[4096];
  snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  ssize_t length = readlink(link, target, sizeof target - 1);
  if (length < (ssize_t)strlen(end)) return 0;
  target[length] = 0;
  return strcmp(target + length - strlen(end), end) == 0;
}

ssize_t read(int descriptor, void *bytes, size_t size) {
  ssize_t (*real)(int, void *, size_t) = dlsym(RTLD_NEXT, "read");
  if (!is_broken(descriptor)) return real(descriptor, bytes, size);
  errno = EIO;
  return -1;
}
