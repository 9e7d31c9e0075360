// Bodies from file to file, beside the least that such a run can cost: `rw1K` reads blocks of 1,023 bytes and
// writes blocks of 1,024, as the encoders do.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <array>

#include "body_files.h"
#include "mim.h"

namespace {

void rw1K(benchmark::State &state) {
    from_file_to_file(state, Bodies::get().text, [](int in, int out) {
        std::array<char, 1024> block{};
        while (read(in, block.data(), 1023) > 0) {
            benchmark::DoNotOptimize(write(out, block.data(), block.size()));
        }
    });
}
BENCHMARK(rw1K)->Unit(benchmark::kMillisecond)->UseRealTime();

void encode_text(benchmark::State &state, const char *encoding, int crlf) {
    from_file_to_file(state, Bodies::get().text,
                      [=](int in, int out) { mim_EncodeMimeFile(in, out, encoding, nullptr, crlf); });
}
BENCHMARK_CAPTURE(encode_text, base64, "BASE64", 0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(encode_text, quoted_printable, "QUOTED-PRINTABLE", 0)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(encode_text, pass_through_crlf, "8BIT", 1)->Unit(benchmark::kMillisecond)->UseRealTime();

void encode_binary(benchmark::State &state, const char *encoding) {
    from_file_to_file(state, Bodies::get().bytes,
                      [=](int in, int out) { mim_EncodeMimeFile(in, out, encoding, nullptr, 0); });
}
BENCHMARK_CAPTURE(encode_binary, quoted_printable, "QUOTED-PRINTABLE")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
