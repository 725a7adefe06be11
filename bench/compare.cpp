// Compares whole processes: one page, written once for each of several programs, run as a web server
// runs a CGI program. The programs take turns, run by run, in the same environment; their output goes
// through a pipe that is read to its end; the bodies must be equal; what counts is the CPU time that
// the system charged to the process (user and system).
//
//     compare PROGRAMS SCENARIOS TABLE [--instructions] [NAME...]
//
// PROGRAMS is the folder of `quillet` and `nothing`, SCENARIOS the folder of the prepared scenarios,
// TABLE names them with their rounds and targets (see scenarios/table.txt). NAMEs choose some of them.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using strings = std::vector<std::string>;

[[noreturn]] void fail(const std::string &message) { throw std::runtime_error(message); }

// --- the table ---------------------------------------------------------------------------------

// "php<0.1": quillet's CPU time over that of php is to stay below 0.1. "growth<13": so is its time at
// the larger size over that at the smaller one, both less that of `nothing`.
struct target {
  std::string against;
  double limit;
};

struct scenario {
  std::string name;
  std::string folder;
  strings sizes;  // the `n` of the query; "-" is a scenario without
  int rounds;
  std::vector<target> targets;
};

strings split(const std::string &source, char separator) {
  strings parts;
  std::istringstream stream(source);
  for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
  return parts;
}

target parse_target(const std::string &word) {
  const std::size_t sign = word.find('<');
  if (sign == std::string::npos) fail("no \"<\" in the target " + word);
  return {word.substr(0, sign), std::stod(word.substr(sign + 1))};
}

// Lines of: name, folder, sizes ("-", "1000" or "1000,10000"), rounds, targets.
std::vector<scenario> read_table(const fs::path &path) {
  std::ifstream file(path);
  if (!file) fail("cannot read " + path.string());
  std::vector<scenario> table;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream words(line);
    scenario row;
    std::string sizes;
    if (!(words >> row.name >> row.folder >> sizes >> row.rounds)) fail("cannot read the line: " + line);
    row.sizes = split(sizes, ',');
    for (std::string word; words >> word;) row.targets.push_back(parse_target(word));
    table.push_back(row);
  }
  return table;
}

// --- one run -----------------------------------------------------------------------------------

struct program {
  std::string name;
  strings arguments;  // the first one is the executable
  fs::path page;      // what the web server asks it for
};

struct run_result {
  double milliseconds = 0;  // CPU time, user and system
  std::string output;
};

// The extensions that php loads: those of the scenario, if it has its own, or of all of them.
fs::path php_settings(const fs::path &folder) {
  const fs::path own = folder / "php.d";
  return fs::exists(own) ? own : folder.parent_path() / "php.d";
}

strings environment_of(const program &program, const fs::path &folder, const std::string &size) {
  const std::string page = program.page.string();
  return {
      "PATH=/usr/local/bin:/usr/bin:/bin",
      "GATEWAY_INTERFACE=CGI/1.1",
      "SERVER_SOFTWARE=Apache",
      "SERVER_NAME=localhost",
      "SERVER_PORT=80",
      "SERVER_PROTOCOL=HTTP/1.1",
      "REQUEST_METHOD=GET",
      "REQUEST_URI=/page" + (size == "-" ? "" : "?n=" + size),
      "QUERY_STRING=" + (size == "-" ? "" : "n=" + size),
      "SCRIPT_NAME=/cgi-bin/program",
      "PATH_TRANSLATED=" + page,
      "SCRIPT_FILENAME=" + page,
      "DOCUMENT_ROOT=" + folder.string(),
      "REDIRECT_STATUS=200",
      "REMOTE_ADDR=127.0.0.1",
      "REMOTE_PORT=50000",
      "HTTP_HOST=localhost",
      "HTTP_USER_AGENT=Mozilla/5.0 (X11; Linux x86_64; rv:128.0) Gecko/20100101 Firefox/128.0",
      "HTTP_ACCEPT=text/html,application/xhtml+xml,application/xml;q=0.9,*/*;q=0.8",
      "HTTP_ACCEPT_LANGUAGE=en-US,en;q=0.5",
      "HTTP_ACCEPT_ENCODING=gzip, deflate",
      "HTTP_CONNECTION=keep-alive",
      "TZ=UTC",
      "PHP_INI_SCAN_DIR=" + php_settings(folder).string(),
  };
}

std::vector<char *> c_array(strings &source) {
  std::vector<char *> pointers;
  for (std::string &word : source) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::string read_all(int descriptor) {
  std::string bytes;
  static char buffer[1 << 16];
  for (ssize_t n; (n = read(descriptor, buffer, sizeof buffer)) != 0;) {
    if (n > 0) bytes.append(buffer, static_cast<std::size_t>(n));
    if (n < 0 && errno != EINTR) fail("cannot read from a pipe");
  }
  return bytes;
}

double milliseconds_of(const timeval &time) {
  return static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_usec) / 1000;
}

// Runs a command in the folder; `from` is the descriptor that is read to its end, 1 or 2.
run_result run(strings command, strings environment, const fs::path &folder, int from) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail("cannot make a pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  if (from != 1) posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, ends[1], from);
  posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
  pid_t child;
  const int error =
      posix_spawn(&child, command[0].c_str(), &actions, nullptr, c_array(command).data(), c_array(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  if (error != 0) fail(command[0] + ": " + std::strerror(error));

  run_result result;
  result.output = read_all(ends[0]);
  close(ends[0]);
  int status;
  rusage usage;
  if (wait4(child, &status, 0, &usage) != child) fail("cannot wait for " + command[0]);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    fail(command.back() + ": ended with status " + std::to_string(status) + ":\n" + result.output.substr(0, 2000));
  }
  result.milliseconds = milliseconds_of(usage.ru_utime) + milliseconds_of(usage.ru_stime);
  return result;
}

// What follows the header.
std::string body_of(const std::string &output) {
  const std::size_t feeds = output.find("\n\n");
  const std::size_t returns = output.find("\r\n\r\n");
  if (feeds == std::string::npos && returns == std::string::npos) return output;
  return feeds < returns ? output.substr(feeds + 2) : output.substr(returns + 4);
}

// Millions of instructions in user space, counted by valgrind.
double count_instructions(const program &program, const strings &environment, const fs::path &folder) {
  strings command{"/usr/bin/valgrind", "--tool=cachegrind", "--cache-sim=no", "--cachegrind-out-file=/dev/null"};
  command.insert(command.end(), program.arguments.begin(), program.arguments.end());
  const std::string report = run(command, environment, folder, 2).output;
  const std::size_t at = report.find("I   refs:");
  if (at == std::string::npos) return 0;
  std::string digits;
  for (const char c : report.substr(at + 9, report.find('\n', at) - at - 9)) {
    if (c >= '0' && c <= '9') digits += c;
  }
  return std::stod(digits) / 1e6;
}

// --- one scenario ------------------------------------------------------------------------------

// The page of that size when it has a file of its own, otherwise the one page for every size; empty
// when the scenario has none for the program.
fs::path page_file(const fs::path &folder, const std::string &size, const std::string &extension) {
  const fs::path own = folder / ("page-" + size + extension);
  if (fs::exists(own)) return own;
  const fs::path common = folder / ("page" + extension);
  return fs::exists(common) ? common : fs::path();
}

std::vector<program> programs_of(const fs::path &programs, const fs::path &folder, const std::string &size) {
  const fs::path html = page_file(folder, size, ".html");
  const fs::path php = page_file(folder, size, ".php");
  const fs::path lua = page_file(folder, size, ".lua");
  std::vector<program> list{{"nothing", {programs / "nothing"}, html}, {"quillet", {programs / "quillet"}, html}};
  if (!php.empty()) list.push_back({"php", {"/usr/bin/php-cgi"}, php});
  // haserl takes its options as from the first line of a script, so its own name must be a full path.
  if (!lua.empty()) list.push_back({"haserl", {"/usr/bin/haserl", "--shell=lua", lua.string()}, lua});
  return list;
}

double quantile(std::vector<double> times, double q) {
  std::sort(times.begin(), times.end());
  return times[static_cast<std::size_t>(q * static_cast<double>(times.size() - 1) + 0.5)];
}

// Where the bodies differ, for the one who writes a scenario.
void check_body(const std::string &name, const std::string &expected, const std::string &body) {
  if (body == expected) return;
  const auto same = static_cast<std::size_t>(
      std::mismatch(body.begin(), body.end(), expected.begin(), expected.end()).first - body.begin());
  const std::size_t from = same < 40 ? 0 : same - 40;
  fail("the bodies of quillet and " + name + " differ from byte " + std::to_string(same) + ":\n" +
       expected.substr(from, 80) + "\n---\n" + body.substr(from, 80));
}

// Medians by program name, in milliseconds.
using medians = std::map<std::string, double>;

medians measure(const scenario &scenario, const std::string &size, const fs::path &programs, const fs::path &folder,
                bool with_instructions) {
  const std::vector<program> list = programs_of(programs, folder, size);
  std::vector<strings> environments;
  std::string expected;
  for (const program &program : list) {
    environments.push_back(environment_of(program, folder, size));
    const std::string body = body_of(run(program.arguments, environments.back(), folder, 1).output);
    if (program.name == "quillet") expected = body;
    if (program.name != "nothing") check_body(program.name, expected, body);
  }

  std::vector<std::vector<double>> times(list.size());
  for (int round = 0; round < scenario.rounds; ++round) {
    for (std::size_t i = 0; i < list.size(); ++i) {
      times[i].push_back(run(list[i].arguments, environments[i], folder, 1).milliseconds);
    }
  }

  std::printf("%s%s%s: %d rounds, body of %zu bytes\n", scenario.name.c_str(),
              size == "-" ? "" : ", n = ", size == "-" ? "" : size.c_str(), scenario.rounds, expected.size());
  medians result;
  for (std::size_t i = 0; i < list.size(); ++i) {
    const double median = result[list[i].name] = quantile(times[i], 0.5);
    std::printf("  %-8s %10.3f ms  (quartiles %.3f to %.3f)", list[i].name.c_str(), median, quantile(times[i], 0.25),
                quantile(times[i], 0.75));
    if (with_instructions) {
      std::printf("  %10.2f M instructions", count_instructions(list[i], environments[i], folder));
    }
    std::printf("\n");
  }
  std::fflush(stdout);
  return result;
}

struct verdict {
  std::string scenario;
  target aim;
  double ratio;
};

double ratio_of(const target &target, const std::vector<medians> &results) {
  const medians &last = results.back();
  if (target.against != "growth") return last.at("quillet") / last.at(target.against);
  const medians &first = results.front();
  return (last.at("quillet") - last.at("nothing")) / (first.at("quillet") - first.at("nothing"));
}

void print_verdicts(const std::vector<verdict> &verdicts) {
  std::printf("\n%-28s %-20s %8s %8s\n", "scenario", "ratio", "measured", "target");
  for (const verdict &v : verdicts) {
    const std::string what = v.aim.against == "growth" ? "large / small" : "quillet / " + v.aim.against;
    std::printf("%-28s %-20s %8.3f %8.3f  %s\n", v.scenario.c_str(), what.c_str(), v.ratio, v.aim.limit,
                v.ratio <= v.aim.limit ? "" : "missed");
  }
}

// All sizes of a scenario in turn.
std::vector<verdict> judge(const scenario &scenario, const fs::path &programs, const fs::path &folder,
                           bool with_instructions) {
  std::vector<medians> results;
  for (const std::string &size : scenario.sizes) {
    results.push_back(measure(scenario, size, programs, folder, with_instructions));
  }
  std::vector<verdict> verdicts;
  for (const target &target : scenario.targets) verdicts.push_back({scenario.name, target, ratio_of(target, results)});
  return verdicts;
}

// A scenario that fails, also by bodies that differ, is reported and the others go on. Gives whether
// none did; a target that is missed is no failure.
bool compare(strings words) {
  const auto option = std::find(words.begin(), words.end(), "--instructions");
  const bool with_instructions = option != words.end();
  if (with_instructions) words.erase(option);
  if (words.size() < 3) fail("usage: compare PROGRAMS SCENARIOS TABLE [--instructions] [NAME...]");
  const fs::path programs = fs::absolute(words[0]);
  const fs::path scenarios = fs::absolute(words[1]);
  const strings chosen(words.begin() + 3, words.end());

  bool good = true;
  std::vector<verdict> verdicts;
  for (const scenario &scenario : read_table(words[2])) {
    if (!chosen.empty() && std::find(chosen.begin(), chosen.end(), scenario.name) == chosen.end()) continue;
    try {
      const auto more = judge(scenario, programs, scenarios / scenario.folder, with_instructions);
      verdicts.insert(verdicts.end(), more.begin(), more.end());
    } catch (const std::runtime_error &error) {
      std::printf("%s: FAILED: %s\n", scenario.name.c_str(), error.what());
      good = false;
    }
  }
  print_verdicts(verdicts);
  return good;
}

}  // namespace

int main(int argc, char **argv) {
  try {
    return compare(strings(argv + 1, argv + argc)) ? 0 : 1;
  } catch (const std::exception &error) {
    std::fprintf(stderr, "compare: %s\n", error.what());
    return 1;
  }
}
