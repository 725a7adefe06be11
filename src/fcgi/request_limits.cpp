#include "fcgi/request_limits.h"

#include <sys/resource.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <ctime>

namespace quillet {

namespace {

void lower_limit(__rlimit_resource resource, rlim_t value) {
  rlimit limit;
  if (getrlimit(resource, &limit) != 0 || limit.rlim_cur <= value) return;
  limit.rlim_cur = value;
  setrlimit(resource, &limit);
}

std::string_view variable(const char *name) {
  const char *value = std::getenv(name);
  return value == nullptr ? std::string_view() : std::string_view(value);
}

}  // namespace

void set_lasting_limits(const server_options &options) {
  constexpr rlim_t mebibyte = 1048576;
  lower_limit(RLIMIT_AS, static_cast<rlim_t>(options.memory) * mebibyte);
  lower_limit(RLIMIT_FSIZE, static_cast<rlim_t>(options.file) * mebibyte);
}

void set_processor_time(int seconds, bool is_new) {
  timespec used{};
  if (!is_new) clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  rlimit limit;
  if (getrlimit(RLIMIT_CPU, &limit) != 0) return;
  limit.rlim_cur = std::min(limit.rlim_max, static_cast<rlim_t>(used.tv_sec) + static_cast<rlim_t>(seconds));
  setrlimit(RLIMIT_CPU, &limit);
}

long long body_limit(const server_options &options) { return options.body * 1048576LL; }

std::string_view refusal(const server_options &options) {
  const std::string_view own = variable("SCRIPT_NAME");
  const std::string_view redirect = variable("REDIRECT_URL");
  if (!own.empty() && redirect.starts_with(own) && (redirect.size() == own.size() || redirect[own.size()] == '/')) {
    return "403 Forbidden";
  }
  const std::string_view length = variable("CONTENT_LENGTH");
  if (length.empty()) return {};
  long long bytes = 0;
  const auto [end, error] = std::from_chars(length.data(), length.data() + length.size(), bytes);
  const bool too_large = error == std::errc::result_out_of_range || bytes > body_limit(options);
  return too_large && end != length.data() ? body_too_large : std::string_view();
}

}  // namespace quillet
