/* Preloaded into the program, sets its clock: CLOCK="1711846800" is the number of seconds since 1970. */
#include <stdlib.h>
#include <time.h>

time_t time(time_t *result) {
  const char *clock = getenv("CLOCK");
  time_t now = clock ? (time_t)atoll(clock) : 0;
  if (result) *result = now;
  return now;
}
