/* There is no memory for an environment variable whose name is in the variable NO_MEMORY_FOR. */
#include <errno.h>
#include <stdlib.h>
#include <string.h>

int setenv(const char *name, const char *value, int replace) {
  const char *failing = getenv("NO_MEMORY_FOR");
  if (failing && strcmp(failing, name) == 0) {
    errno = ENOMEM;
    return -1;
  }
  if (!replace && getenv(name)) return 0;
  char *pair = malloc(strlen(name) + strlen(value) + 2);
  strcpy(pair, name);
  strcat(pair, "=");
  strcat(pair, value);
  return putenv(pair);
}
