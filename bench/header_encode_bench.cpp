// Values as folded encoded words, beside a byte-table scan of the same values.

#include <benchmark/benchmark.h>

#include <array>
#include <random>
#include <string>
#include <vector>

#include "bench_text.h"
#include "ccs.h"
#include "mim.h"

namespace {

constexpr std::size_t kValues = 1000;
constexpr int kMaxWord = 75;

// Values of 40 to 200 characters in UTF-8, one letter in thirty beyond ASCII.
const std::vector<std::string> &values() {
    static const std::vector<std::string> texts = [] {
        constexpr std::array<const char *, 6> kLetters{"\u00E9", "\u00E8", "\u00E0",
                                                       "\u00FC", "\u00DF", "\u0144"};
        std::mt19937 random{3};
        std::vector<std::string> made(kValues);
        for (std::string &text : made) {
            for (std::size_t i = 0, size = 40 + random() % 161; i < size; ++i) {
                if (random() % 30 == 0) {
                    text += kLetters[random() % kLetters.size()];
                } else {
                    text += random() % 7 == 0 ? ' ' : static_cast<char>('a' + random() % 26);
                }
            }
        }
        return made;
    }();
    return texts;
}

void header_scan(benchmark::State &state) {
    scan_with_table(state, values());
}
BENCHMARK(header_scan);

void header_encode(benchmark::State &state, char mode) {
    ccs_descriptor charset{};
    ccs_GetCSDescriptor("UTF8", &charset);
    std::array<char, kMaxWord + 1> word{};
    for (auto _ : state) {
        for (const std::string &value : values()) {
            const char *rest = value.c_str();
            const char *const end = rest + value.size();
            for (int start = 1; rest != nullptr; start = 0) {
                rest = mim_EncodeFold(rest, static_cast<int>(end - rest), word.data(), kMaxWord, start,
                                      &charset, mode, 1, "UTF-8", 0, 0);
                benchmark::ClobberMemory();
            }
        }
    }
    state.SetBytesProcessed(state.iterations() * total_size(values()));
}
BENCHMARK_CAPTURE(header_encode, q, 'Q');
BENCHMARK_CAPTURE(header_encode, b, 'B');

}  // namespace
