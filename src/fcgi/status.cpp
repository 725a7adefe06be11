#include "fcgi/status.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "core/file.h"

namespace quillet {

namespace {

struct figure {
  std::string_view name;
  std::string_view kind;
  std::string_view summary;
  long long value;
};

double seconds(std::int64_t milliseconds) { return static_cast<double>(milliseconds) / 1000; }

std::string decimal(double value) {
  char digits[32];
  const int size = std::snprintf(digits, sizeof digits, "%.3f", value);
  return {digits, static_cast<std::size_t>(size)};
}

int count(const scoreboard &board, process_state state) {
  return static_cast<int>(std::count_if(board.processes.begin(), board.processes.end(),
                                        [&](const process_score &score) { return score.state == state; }));
}

std::int64_t longest_request(const scoreboard &board, std::int64_t now) {
  std::int64_t longest = 0;
  for (const process_score &score : board.processes) {
    if (score.state == process_state::busy) longest = std::max(longest, now - score.since);
  }
  return longest;
}

std::string plain_text(std::span<const figure> figures, const scoreboard &board, std::int64_t now,
                       std::int64_t started) {
  std::string body = "quillet-fcgi\n";
  for (const figure &shown : figures) {
    body.append(shown.name).append(": ").append(std::to_string(shown.value)).append("\n");
  }
  body.append("seconds: ").append(decimal(seconds(now - started)));
  body.append("\nlongest request: ").append(decimal(seconds(longest_request(board, now)))).append("\n");
  for (std::size_t k = 0; k < board.processes.size(); ++k) {
    const process_score &score = board.processes[k];
    const process_state state = score.state;
    if (state != process_state::idle && state != process_state::busy) continue;
    body.append("process ").append(std::to_string(k + 1)).append(state == process_state::busy ? ": busy" : ": idle");
    body.append(" for ").append(decimal(seconds(now - score.since))).append(" s, served ");
    body.append(std::to_string(score.served));
    if (state == process_state::busy) body.append(": ").append(score.address, strnlen(score.address, address_size));
    body.append("\n");
  }
  return body;
}

std::string metrics(std::span<const figure> figures, const scoreboard &board, std::int64_t now, std::int64_t started) {
  std::string body;
  const auto add = [&](std::string_view name, std::string_view kind, std::string_view summary,
                       const std::string &value) {
    const std::string whole = "quillet_" + std::string(name);
    body.append("# HELP ").append(whole).append(" ").append(summary).append("\n");
    body.append("# TYPE ").append(whole).append(" ").append(kind).append("\n");
    body.append(whole).append(" ").append(value).append("\n");
  };
  for (const figure &shown : figures) {
    const std::string name = std::string(shown.name) + (shown.kind == "counter" ? "_total" : "");
    add(name, shown.kind, shown.summary, std::to_string(shown.value));
  }
  add("uptime_seconds", "gauge", "Time since the start.", decimal(seconds(now - started)));
  add("longest_request_seconds", "gauge", "Age of the oldest request that is running.",
      decimal(seconds(longest_request(board, now))));
  return body;
}

// The path of the request line; empty when none comes.
std::string requested_path(int connection) {
  char bytes[1024];
  const ssize_t size = recv(connection, bytes, sizeof bytes, 0);
  if (size <= 0) return {};
  std::string_view line(bytes, static_cast<std::size_t>(size));
  line = line.substr(0, line.find_first_of("\r\n"));
  const std::size_t start = line.find(' ');
  if (start == std::string_view::npos) return {};
  line.remove_prefix(start + 1);
  return std::string(line.substr(0, line.find(' ')));
}

}  // namespace

void answer_status(int connection, const server_options &options, const scoreboard &board, std::int64_t started) {
  constexpr timeval patience = {5, 0};
  setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  const std::string path = requested_path(connection);
  const std::int64_t now = milliseconds_now();
  const auto number = [](std::uint64_t value) { return static_cast<long long>(value); };
  const figure figures[] = {
      {"processes", "gauge", "Processes that may answer at the same time.", options.processes},
      {"running", "gauge", "Requests that are running.", count(board, process_state::busy)},
      {"idle", "gauge", "Processes that wait for a request.", count(board, process_state::idle)},
      {"waiting", "gauge", "Requests that wait for a process.", board.waiting},
      {"served", "counter", "Requests that were answered.", number(board.served)},
      {"failed", "counter", "Requests that were answered and ended with another status than 0.", number(board.failed)},
      {"refused", "counter", "Requests that got status 503.", number(board.refused)},
      {"died", "counter", "Requests whose process died.", number(board.died)},
  };
  const bool is_metrics = path == "/metrics";
  const std::string body =
      is_metrics ? metrics(figures, board, now, started) : plain_text(figures, board, now, started);
  std::string response = "HTTP/1.0 200 OK\r\nContent-Type: text/plain; ";
  response.append(is_metrics ? "version=0.0.4; " : "").append("charset=utf-8\r\nContent-Length: ");
  response.append(std::to_string(body.size())).append("\r\nConnection: close\r\n\r\n").append(body);
  write_all(connection, response);
  shutdown(connection, SHUT_WR);
  char rest[1024];
  while (recv(connection, rest, sizeof rest, 0) > 0) continue;
  close(connection);
}

}  // namespace quillet
