// The address parser, beside a plain byte-table scan of the same text in the same run.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>

#include "bench_text.h"
#include "mim.h"

namespace {

std::int64_t total_size(const std::vector<std::string> &texts) {
    std::int64_t size = 0;
    for (const std::string &text : texts) {
        size += static_cast<std::int64_t>(text.size());
    }
    return size;
}

void byte_table_scan(benchmark::State &state) {
    std::array<unsigned char, 256> table{};
    for (std::size_t i = 1; i < table.size(); ++i) {
        table[i] = static_cast<unsigned char>(i % 7 + 1);
    }
    benchmark::DoNotOptimize(table);
    const auto texts = mixed_addresses();
    for (auto _ : state) {
        for (const std::string &text : texts) {
            unsigned sum = 0;
            for (const char *p = text.c_str(); *p != '\0'; ++p) {
                sum += table[static_cast<unsigned char>(*p)];
            }
            benchmark::DoNotOptimize(sum);
        }
    }
    state.SetBytesProcessed(state.iterations() * total_size(texts));
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
