/* Preloaded into the program, breaks the disk under every file with "broken" in its name: it opens, and has its size,
 * but cannot be read.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

static int is_broken(int descriptor) {
  char link[64], target[4096];
  snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  ssize_t length = readlink(link, target, sizeof target - 1);
  if (length < 0) return 0;
  target[length] = 0;
  const char *name = strrchr(target, '/');
  return name != NULL && strstr(name, "broken") != NULL;
}

ssize_t read(int descriptor, void *bytes, size_t size) {
  ssize_t (*real)(int, void *, size_t) = dlsym(RTLD_NEXT, "read");
  if (!is_broken(descriptor)) return real(descriptor, bytes, size);
  errno = EIO;
  return -1;
}
