/* Preloaded into the program, kills it at one step of writing a cache entry, as somebody else might at any moment.
 *
 *   DIE_AT="write 2 500"       in the second write to a cache entry, after 500 bytes of it
 *   DIE_AT="linkat 1 0"        before the first time that an entry gets its name; "linkat 1 1": after it
 *   DIE_AT="ftruncate 1 0"     before the first time that an entry is cut
 *   NAMELESS_FILES=no          the file system knows no files without a name
 *   REMOVE_TAKEN=yes           an entry is removed as soon as its name was found taken
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

/* The third word of DIE_AT when this is the call that it names; otherwise -1. */
static long death(const char *function, int *calls) {
  char name[32];
  int number;
  long where;
  const char *wanted = getenv("DIE_AT");
  ++*calls;
  if (!wanted || sscanf(wanted, "%31s %d %ld", name, &number, &where) != 3) return -1;
  return strcmp(name, function) == 0 && number == *calls ? where : -1;
}

static void die(void) { kill(getpid(), SIGKILL); }

static int is_entry(int descriptor) {
  char link[64], target[4096];
  snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  ssize_t length = readlink(link, target, sizeof target - 1);
  if (length < 0) return 0;
  target[length] = 0;
  return strstr(target, "/site/cache/") != NULL;
}

ssize_t write(int descriptor, const void *bytes, size_t size) {
  static int calls;
  ssize_t (*real)(int, const void *, size_t) = dlsym(RTLD_NEXT, "write");
  long after = is_entry(descriptor) ? death("write", &calls) : -1;
  if (after < 0) return real(descriptor, bytes, size);
  real(descriptor, bytes, (size_t)after < size ? (size_t)after : size);
  die();
  return -1;
}

int ftruncate(int descriptor, off_t size) {
  static int calls;
  int (*real)(int, off_t) = dlsym(RTLD_NEXT, "ftruncate");
  if (is_entry(descriptor) && death("ftruncate", &calls) >= 0) die();
  return real(descriptor, size);
}

int linkat(int old_folder, const char *old_name, int new_folder, const char *new_name, int flags) {
  static int calls;
  int (*real)(int, const char *, int, const char *, int) = dlsym(RTLD_NEXT, "linkat");
  long when = death("linkat", &calls);
  if (when == 0) die();
  int result = real(old_folder, old_name, new_folder, new_name, flags);
  if (when > 0) die();
  if (result != 0 && errno == EEXIST && getenv("REMOVE_TAKEN")) {
    unlink(new_name);
    errno = EEXIST;
  }
  return result;
}

int open(const char *path, int flags, ...) {
  int (*real)(const char *, int, ...) = dlsym(RTLD_NEXT, "open");
  mode_t mode = 0;
  if (flags & (O_CREAT | O_TMPFILE)) {
    va_list rest;
    va_start(rest, flags);
    mode = va_arg(rest, mode_t);
    va_end(rest);
  }
  if ((flags & O_TMPFILE) == O_TMPFILE && getenv("NAMELESS_FILES")) {
    errno = EOPNOTSUPP;
    return -1;
  }
  return real(path, flags, mode);
}
