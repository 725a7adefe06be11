/* Preloaded into the program, leaves the matching of regular expressions without memory. */
#include <regex.h>

int regexec(const regex_t *expression, const char *subject, size_t count, regmatch_t *pieces, int flags) {
  (void)expression, (void)subject, (void)count, (void)pieces, (void)flags;
  return REG_ESPACE;
}
