// Form decoding. The decoders work in place and append to one list for the life of the process, so
// each pass copies its input first and the number of passes is fixed.
#include "cgi/form.h"

#include <benchmark/benchmark.h>

#include <string>

#include "cgi/request.h"

using namespace quillet;

namespace {

void bench_decoder(benchmark::State &state, decode_result (*decode)(char *, std::size_t), const std::string &body) {
  std::string copy;
  for (auto _ : state) {
    copy = body;
    benchmark::DoNotOptimize(decode(copy.data(), copy.size()));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(body.size()) * state.iterations());
}

void urlencoded_20_fields(benchmark::State &state) {
  std::string body;
  for (int i = 0; i < 20; ++i) body += "field" + std::to_string(i) + "=a+value+with+%3Cescapes%3E+in+it&";
  bench_decoder(state, decode_urlencoded, body);
}
BENCHMARK(urlencoded_20_fields)->Iterations(10000);

void urlencoded_1_megabyte_field(benchmark::State &state) {
  std::string body = "text=";
  while (body.size() < (1 << 20)) body += "a+value+with+%3Cescapes%3E+in+it+";
  bench_decoder(state, decode_urlencoded, body);
}
BENCHMARK(urlencoded_1_megabyte_field)->Iterations(200);

std::string multipart_body(int parts, const std::string &content, const std::string &file_name) {
  const std::string line = "-----------------------------735323031399963166993862150";
  std::string body;
  for (int i = 0; i < parts; ++i) {
    body += line + "\r\nContent-Disposition: form-data; name=\"field" + std::to_string(i) + "\"" + file_name +
            "\r\n\r\n" + content + "\r\n";
  }
  return body + line + "--\r\n";
}

void use_multipart() {
  request.content_type = "multipart/form-data; boundary=---------------------------735323031399963166993862150";
}

void multipart_20_fields(benchmark::State &state) {
  use_multipart();
  bench_decoder(state, decode_multipart, multipart_body(20, "a value with <escapes> in it", ""));
}
BENCHMARK(multipart_20_fields)->Iterations(10000);

void multipart_1_megabyte_file(benchmark::State &state) {
  use_multipart();
  bench_decoder(state, decode_multipart, multipart_body(1, std::string(1 << 20, 'x'), "; filename=\"a.bin\""));
}
BENCHMARK(multipart_1_megabyte_file)->Iterations(200);

// Full of bytes that begin like the boundary.
void multipart_1_megabyte_of_hyphens(benchmark::State &state) {
  use_multipart();
  bench_decoder(state, decode_multipart, multipart_body(1, std::string(1 << 20, '-'), "; filename=\"a.bin\""));
}
BENCHMARK(multipart_1_megabyte_of_hyphens)->Iterations(20);

}  // namespace
