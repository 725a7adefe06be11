// The splitter, the evaluator, the registry and macros.
#include "core/evaluator.h"

#include <benchmark/benchmark.h>

#include <string>

#include "core/operators.h"
#include "macro/macro_library.h"
#include "main/modules.h"

using namespace quillet;

namespace {

std::string repeated(std::string_view piece, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += piece;
  return result;
}

void echo_first(parameters &parameters, text &out) { out.append(parameters[0]); }

// The program's own operators, and `bench_echo`, which gives its parameter back.
void register_everything() {
  register_all_operators();
  register_operator("bench_echo", echo_first, 0, evaluated);
}

void count_bytes(benchmark::State &state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
}

void bench_evaluate(benchmark::State &state, const std::string &source) {
  register_everything();
  for (auto _ : state) {
    text out;
    evaluate(source, out);
    benchmark::DoNotOptimize(out.data());
  }
  count_bytes(state, source.size());
}

void split_two_short(benchmark::State &state) {
  for (auto _ : state) {
    parameters parameters;
    benchmark::DoNotOptimize(split_parameters("[name;value] and what follows it in the page", parameters));
  }
}
BENCHMARK(split_two_short);

void split_19_of_1000_bytes(benchmark::State &state) {
  const std::string piece(1000, 'x');
  const std::string call = std::string(1, '[').append(repeated(piece + ";", 18)).append(piece).append("]");
  for (auto _ : state) {
    parameters parameters;
    benchmark::DoNotOptimize(split_parameters(call, parameters));
  }
  count_bytes(state, call.size());
}
BENCHMARK(split_19_of_1000_bytes);

void split_nested_100_deep(benchmark::State &state) {
  const std::string call = repeated("[^a", 100) + repeated("]", 100);
  for (auto _ : state) {
    parameters parameters;
    benchmark::DoNotOptimize(split_parameters(call, parameters));
  }
  count_bytes(state, call.size());
}
BENCHMARK(split_nested_100_deep);

void evaluate_plain_1_megabyte(benchmark::State &state) { bench_evaluate(state, std::string(1 << 20, 'x')); }
BENCHMARK(evaluate_plain_1_megabyte);

void evaluate_calls(benchmark::State &state) {
  const auto calls = static_cast<std::size_t>(state.range(0));
  bench_evaluate(state, repeated(std::string(80, 'x') + "^bench_echo[a value]", calls));
}
BENCHMARK(evaluate_calls)->Arg(1000)->Arg(10000);

void evaluate_nested(benchmark::State &state) {
  const auto depth = static_cast<std::size_t>(state.range(0));
  bench_evaluate(state, repeated("<b>^bench_echo[", depth) + "x" + repeated("]</b>", depth));
}
BENCHMARK(evaluate_nested)->Arg(10)->Arg(100)->Arg(900);

void evaluate_unclosed_calls(benchmark::State &state) {
  bench_evaluate(state, repeated("^bench_echo[a;", static_cast<std::size_t>(state.range(0))));
}
BENCHMARK(evaluate_unclosed_calls)->Arg(1000)->Arg(10000);

void register_all(benchmark::State &state) {
  for (auto _ : state) register_all_operators();  // past the first time: look-ups that find each name taken
}
BENCHMARK(register_all);

void find_an_operator(benchmark::State &state) {
  register_everything();
  for (auto _ : state) benchmark::DoNotOptimize(find_operator("macro_exists"));
}
BENCHMARK(find_an_operator);

void find_no_operator(benchmark::State &state) {
  register_everything();
  for (auto _ : state) benchmark::DoNotOptimize(find_operator("macro_exist"));
}
BENCHMARK(find_no_operator);

void macro_call(benchmark::State &state) {
  define_macro("bench_link[address;label]", text("<a class=\"link\" href=\"$address\">$label</a>"));
  bench_evaluate(state, "^macro[bench_link;/tools/spade.html;A spade that stays sharp]");
}
BENCHMARK(macro_call);

}  // namespace
