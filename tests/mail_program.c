/* Preloaded into the program, gives it mail programs of a test: what it looks for at /usr/lib/sendmail and
   /usr/sbin/sendmail is below the folder MAIL_PROGRAMS. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const char *place(const char *path, char *room, size_t size) {
  if (strcmp(path, "/usr/lib/sendmail") != 0 && strcmp(path, "/usr/sbin/sendmail") != 0) return path;
  snprintf(room, size, "%s%s", getenv("MAIL_PROGRAMS"), path);
  return room;
}

int access(const char *path, int mode) {
  char room[4096];
  return faccessat(AT_FDCWD, place(path, room, sizeof room), mode, 0);
}

int execv(const char *path, char *const arguments[]) {
  char room[4096];
  return execve(place(path, room, sizeof room), arguments, environ);
}
