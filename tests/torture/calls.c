/* Preloaded into the program, counts its calls of the C library that can fail, and spoils one of them.
 *
 *   SPOIL="none 0"         counts only
 *   SPOIL="once 7"         the seventh call fails
 *   SPOIL="ever 7"         the seventh call fails, and every later one of the same function
 *   SPOIL="interrupt 7"    the seventh call is interrupted by a signal, where the function can be
 *   SPOIL="short 7"        the seventh call, a read or a write, gets half of it at most
 *   SPOIL="kill 7"         the process is killed before the seventh call
 *   SPOIL="half 7"         the process is killed in the seventh call, a read or a write, after half of the blocks of 4,096
 *                          bytes: the kernel (Linux) looks for a kill between blocks only, so one block is moved whole
 *   SPOIL="moment 700"     the process is killed 700 microseconds after its start, wherever it is
 *   SPOIL_REPORT=FILE      a file of at least 64 bytes: the number of calls and the microsecond of the last one (8 bytes
 *                          each), the name of the spoiled function: "malloc", or "malloc in regcomp"
 *
 * A child of the process goes on from its parent's number; programs that the process runs are left alone.
 */
#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <regex.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

extern void *__libc_malloc(size_t);
extern void *__libc_calloc(size_t, size_t);
extern void *__libc_realloc(void *, size_t);
extern void *__libc_memalign(size_t, size_t);
extern ssize_t __recv_chk(int, void *, size_t, size_t, int); /* recv, where the compiler knows the room */

enum outcome { as_ever, fails, is_interrupted, is_short, dies_halfway };

static struct {
  long calls, microseconds;
  char spoiled[48];
} *report;

static int is_armed;
static char mode[16];
static long wanted, number;
static const char *failing_for_ever;
static const char *expression_function; /* the one of the C library that is at work */
static struct timespec started;

static void kill_after(long microseconds) {
  struct sigevent death = {.sigev_notify = SIGEV_SIGNAL, .sigev_signo = SIGKILL};
  struct itimerspec when = {{0, 0}, {microseconds / 1000000, microseconds % 1000000 * 1000}};
  timer_t timer;
  strcpy(report->spoiled, "any moment");
  if (timer_create(CLOCK_MONOTONIC, &death, &timer) != 0 || timer_settime(timer, 0, &when, NULL) != 0) abort();
}

static long microseconds_since_start(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (now.tv_sec - started.tv_sec) * 1000000 + (now.tv_nsec - started.tv_nsec) / 1000;
}

__attribute__((constructor)) static void arm(void) {
  const char *spoil = getenv("SPOIL"), *path = getenv("SPOIL_REPORT");
  if (!spoil || !path || strncmp(program_invocation_short_name, "quillet", 7) != 0 ||
      strcmp(program_invocation_short_name, "quillet-database") == 0 || sscanf(spoil, "%15s %ld", mode, &wanted) != 2)
    return;
  int file = (int)syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC);
  report = (void *)syscall(SYS_mmap, 0, sizeof *report, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  syscall(SYS_close, file);
  unsetenv("LD_PRELOAD");
  if (report == MAP_FAILED) return;
  clock_gettime(CLOCK_MONOTONIC, &started);
  if (mode[0] == 'm') kill_after(wanted);
  is_armed = mode[0] != 'm';
}

static enum outcome next(const char *function) {
  if (!is_armed) return as_ever;
  if (++number > report->calls) report->calls = number;
  if (mode[0] == 'n') report->microseconds = microseconds_since_start();
  if (failing_for_ever && strcmp(failing_for_ever, function) == 0) return fails;
  if (number != wanted) return as_ever;
  if (expression_function)
    snprintf(report->spoiled, sizeof report->spoiled, "%s in %s", function, expression_function);
  else
    strncpy(report->spoiled, function, sizeof report->spoiled - 1);
  switch (mode[0]) {
    case 'e': failing_for_ever = function; return fails;
    case 'o': return fails;
    case 'i': return is_interrupted;
    case 's': return is_short;
    case 'k': syscall(SYS_kill, getpid(), SIGKILL); return as_ever;
    case 'h': return dies_halfway;
    default: return as_ever;
  }
}

static size_t first_blocks(size_t size) {
  const size_t block = 4096;
  return size <= block ? size : (size / 2 + block - 1) / block * block;
}

#define REAL(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))

/* A function that fails with an error number and a result. */
#define SPOIL(type, name, error, failure, parameters, arguments) \
  type name parameters {                                         \
    if (next(#name) == fails) {                                  \
      errno = error;                                             \
      return failure;                                            \
    }                                                            \
    return REAL(name) arguments;                                 \
  }

/* The same for one that a signal can interrupt. */
#define SPOIL_WAITING(type, name, error, failure, parameters, arguments) \
  type name parameters {                                                 \
    enum outcome outcome = next(#name);                                  \
    if (outcome == fails || outcome == is_interrupted) {                 \
      errno = outcome == fails ? error : EINTR;                          \
      return failure;                                                    \
    }                                                                    \
    return REAL(name) arguments;                                         \
  }

/* The same for one that moves `size` bytes. */
#define SPOIL_MOVING(name, error, parameters, arguments)         \
  ssize_t name parameters {                                      \
    enum outcome outcome = next(#name);                          \
    if (outcome == fails || outcome == is_interrupted) {         \
      errno = outcome == fails ? error : EINTR;                  \
      return -1;                                                 \
    }                                                            \
    if (outcome == is_short) size -= size / 2;                   \
    if (outcome == dies_halfway) size = first_blocks(size);      \
    ssize_t moved = REAL(name) arguments;                        \
    if (outcome == dies_halfway) syscall(SYS_kill, getpid(), SIGKILL); \
    return moved;                                                \
  }

/* A function for expressions; what is spoiled within it is reported so. */
#define SPOIL_EXPRESSION(name, parameters, arguments) \
  int name parameters {                               \
    if (next(#name) == fails) {                       \
      errno = ENOMEM;                                 \
      return REG_ESPACE;                              \
    }                                                 \
    expression_function = #name;                      \
    int result = REAL(name) arguments;                \
    expression_function = NULL;                       \
    return result;                                    \
  }

void *malloc(size_t size) {
  if (next("malloc") != fails) return __libc_malloc(size);
  errno = ENOMEM;
  return NULL;
}

void *calloc(size_t number_of, size_t size) {
  if (next("calloc") != fails) return __libc_calloc(number_of, size);
  errno = ENOMEM;
  return NULL;
}

void *realloc(void *block, size_t size) {
  if (next("realloc") != fails) return __libc_realloc(block, size);
  errno = ENOMEM;
  return NULL;
}

int posix_memalign(void **block, size_t alignment, size_t size) {
  if (next("posix_memalign") == fails || !(*block = __libc_memalign(alignment, size))) return ENOMEM;
  return 0;
}

int open(const char *path, int flags, ...) {
  mode_t permissions = 0;
  if (flags & (O_CREAT | O_TMPFILE)) {
    va_list rest;
    va_start(rest, flags);
    permissions = va_arg(rest, mode_t);
    va_end(rest);
  }
  if (next("open") == fails) {
    errno = EMFILE;
    return -1;
  }
  return REAL(open)(path, flags, permissions);
}

int fcntl(int descriptor, int command, ...) {
  va_list rest;
  va_start(rest, command);
  long value = va_arg(rest, long);
  va_end(rest);
  if (next("fcntl") == fails) {
    errno = EMFILE;
    return -1;
  }
  return REAL(fcntl)(descriptor, command, value);
}

/* The descriptor is closed whatever close says. */
int close(int descriptor) {
  enum outcome outcome = next("close");
  int result = REAL(close)(descriptor);
  if (outcome != fails) return result;
  errno = EIO;
  return -1;
}

/* No function can return from the call of vfork that it made itself. */
pid_t vfork(void) {
  if (next("vfork") != fails) return REAL(fork)();
  errno = EAGAIN;
  return -1;
}

SPOIL_MOVING(read, EIO, (int descriptor, void *bytes, size_t size), (descriptor, bytes, size))
SPOIL_MOVING(write, ENOSPC, (int descriptor, const void *bytes, size_t size), (descriptor, bytes, size))
SPOIL_MOVING(pread, EIO, (int descriptor, void *bytes, size_t size, off_t at), (descriptor, bytes, size, at))
SPOIL_MOVING(pwrite, ENOSPC, (int descriptor, const void *bytes, size_t size, off_t at), (descriptor, bytes, size, at))
SPOIL_MOVING(__recv_chk, ECONNRESET, (int socket, void *bytes, size_t size, size_t room, int flags),
             (socket, bytes, size, room, flags))
SPOIL_MOVING(send, ECONNRESET, (int socket, const void *bytes, size_t size, int flags), (socket, bytes, size, flags))

SPOIL_WAITING(int, flock, ENOLCK, -1, (int descriptor, int operation), (descriptor, operation))
SPOIL_WAITING(pid_t, waitpid, ECHILD, -1, (pid_t child, int *status, int options), (child, status, options))
SPOIL_WAITING(int, ftruncate, EIO, -1, (int descriptor, off_t size), (descriptor, size))
SPOIL_WAITING(int, fallocate, ENOSPC, -1, (int descriptor, int how, off_t at, off_t size), (descriptor, how, at, size))

SPOIL(void *, mmap, ENOMEM, MAP_FAILED, (void *at, size_t size, int access, int flags, int descriptor, off_t offset),
      (at, size, access, flags, descriptor, offset))
SPOIL(int, access, EACCES, -1, (const char *path, int kind), (path, kind))
SPOIL(int, chdir, EACCES, -1, (const char *path), (path))
SPOIL(int, fchdir, EACCES, -1, (int descriptor), (descriptor))
SPOIL(int, dup, EMFILE, -1, (int descriptor), (descriptor))
SPOIL(int, dup2, EMFILE, -1, (int descriptor, int other), (descriptor, other))
SPOIL(FILE *, fdopen, ENOMEM, NULL, (int descriptor, const char *how), (descriptor, how))
SPOIL(pid_t, fork, EAGAIN, -1, (void), ())
SPOIL(int, fstat, EIO, -1, (int descriptor, struct stat *status), (descriptor, status))
SPOIL(int, stat, EACCES, -1, (const char *path, struct stat *status), (path, status))
SPOIL(ssize_t, getrandom, ENOSYS, -1, (void *bytes, size_t size, unsigned flags), (bytes, size, flags))
SPOIL(int, linkat, EIO, -1, (int folder, const char *name, int to_folder, const char *to_name, int flags),
      (folder, name, to_folder, to_name, flags))
SPOIL(int, memfd_create, ENFILE, -1, (const char *name, unsigned flags), (name, flags))
SPOIL(int, mkdir, ENOSPC, -1, (const char *path, mode_t permissions), (path, permissions))
SPOIL(DIR *, opendir, EMFILE, NULL, (const char *path), (path))
SPOIL(struct dirent *, readdir, EIO, NULL, (DIR * folder), (folder))
SPOIL(int, pipe2, EMFILE, -1, (int ends[2], int flags), (ends, flags))
SPOIL(ssize_t, readlink, EIO, -1, (const char *path, char *target, size_t size), (path, target, size))
SPOIL_EXPRESSION(regcomp, (regex_t * compiled, const char *expression, int flags), (compiled, expression, flags))
SPOIL_EXPRESSION(regexec, (const regex_t *compiled, const char *text, size_t places, regmatch_t where[], int flags),
                 (compiled, text, places, where, flags))
SPOIL(int, setenv, ENOMEM, -1, (const char *name, const char *value, int replace), (name, value, replace))
SPOIL(int, unsetenv, ENOMEM, -1, (const char *name), (name))
SPOIL(int, socketpair, EMFILE, -1, (int domain, int type, int protocol, int ends[2]), (domain, type, protocol, ends))
SPOIL(int, unlink, EACCES, -1, (const char *path), (path))
