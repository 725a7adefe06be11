// Quoting and the output optimizer.
#include <benchmark/benchmark.h>

#include <string>

#include "cgi/optimizer.h"
#include "core/quoting.h"

using namespace quillet;

namespace {

// 10 kB in which one byte in `distance` needs an escape in the modes that have one.
std::string value_with_escapes(std::size_t distance) {
  std::string value(10000, 'x');
  for (std::size_t i = 0; i < value.size(); i += distance) value[i] = '"';
  return value;
}

// Mode, and bytes from one escape to the next.
void quote_10_kilobytes(benchmark::State &state) {
  const quoting_scope scope(static_cast<quoting_mode>(state.range(0)));
  const std::string value = value_with_escapes(static_cast<std::size_t>(state.range(1)));
  for (auto _ : state) {
    text out;
    quote(value, false, out);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(value.size()) * state.iterations());
}
BENCHMARK(quote_10_kilobytes)
    ->ArgNames({"mode", "distance"})
    ->ArgsProduct({{quoting_none, quoting_config, quoting_html, quoting_sql, quoting_javascript}, {10, 1000}});

void quote_a_short_value(benchmark::State &state) {
  const quoting_scope scope(static_cast<quoting_mode>(state.range(0)));
  for (auto _ : state) {
    text out;
    quote("Tools \"for life\"", true, out);
    benchmark::DoNotOptimize(out.data());
  }
}
BENCHMARK(quote_a_short_value)->ArgName("mode")->DenseRange(quoting_none, quoting_javascript);

// The copy that is optimized is a part of the time: the optimizer works in place.
void optimize_1_megabyte(benchmark::State &state) {
  const auto distance = static_cast<std::size_t>(state.range(0));
  std::string page(1 << 20, 'x');
  for (std::size_t i = 0; i + 4 < page.size(); i += distance) page.replace(i, 4, "\n    ", 4);
  for (auto _ : state) {
    text copy{page};
    optimize_output(copy);
    benchmark::DoNotOptimize(copy.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(page.size()) * state.iterations());
}
BENCHMARK(optimize_1_megabyte)->ArgName("distance")->Arg(8)->Arg(80)->Arg(1 << 20);

}  // namespace
