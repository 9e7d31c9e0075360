// The address parser, beside a plain byte-table scan of the same text in the same run.

#include <benchmark/benchmark.h>

#include <array>

#include "bench_text.h"
#include "mim.h"

namespace {

void byte_table_scan(benchmark::State &state) {
    scan_with_table(state, mixed_addresses());
}
BENCHMARK(byte_table_scan);

void parse_address(benchmark::State &state) {
    const auto texts = mixed_addresses();
    std::array<std::array<char, MIM_ADDRESS_SIZE>, 5> out{};
    for (auto _ : state) {
        for (const std::string &text : texts) {
            mim_parse_address(text.c_str(), out[0].data(), out[1].data(), out[2].data(), out[3].data(),
                              out[4].data());
            benchmark::ClobberMemory();
        }
    }
    state.SetBytesProcessed(state.iterations() * total_size(texts));
}
BENCHMARK(parse_address);

}  // namespace
