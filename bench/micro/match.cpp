// Regular expressions: by the linear matcher, and by the C library.
#include <benchmark/benchmark.h>

#include <array>
#include <string>

#include "core/regular_expression.h"

using namespace quillet;

namespace {

std::string words(std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += "a common sentence of words " + std::to_string(10000 + i) + ' ';
  return result;
}

void bench_all_matches(benchmark::State &state, const char *source) {
  const regular_expression expression(source, 0);
  const std::string subject = words(1000);
  for (auto _ : state) {
    match_search search(expression, subject);
    std::array<regmatch_t, 3> pieces;
    std::size_t offset = 0;
    while (search.find(offset, pieces) == 0) offset += static_cast<std::size_t>(pieces[0].rm_eo);
    benchmark::DoNotOptimize(offset);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(subject.size()) * state.iterations());
}

void match_certain_groups(benchmark::State &state) { bench_all_matches(state, "([a-z]+) ([0-9]+)"); }
BENCHMARK(match_certain_groups);

void match_groups_of_the_library(benchmark::State &state) { bench_all_matches(state, "([a-z]*) ([0-9]+)"); }
BENCHMARK(match_groups_of_the_library);

void match_by_the_library(benchmark::State &state) { bench_all_matches(state, "([a-z]{1,}) ([0-9]{1,})"); }
BENCHMARK(match_by_the_library);

void compile_everyday(benchmark::State &state) {
  for (auto _ : state) benchmark::DoNotOptimize(regular_expression("([a-z]+) ([0-9]+)", 0).group_count());
}
BENCHMARK(compile_everyday);

void compile_by_the_library(benchmark::State &state) {
  for (auto _ : state) benchmark::DoNotOptimize(regular_expression("([a-z]+) ([0-9]{1,})", 0).group_count());
}
BENCHMARK(compile_by_the_library);

}  // namespace
