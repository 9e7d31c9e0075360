// A million header values, most plain and some with encoded words, decoded into UTF-8, beside a plain
// byte-table scan of the same values in the same run, and GMime 3 where it is installed.

#include <benchmark/benchmark.h>

#include <array>

#include "dstring.h"
#include "header_values.h"
#include "mim.h"

#ifdef MIM_HAS_GMIME
#include <gmime/gmime.h>
#endif

namespace {

template <typename Call>
void for_all(benchmark::State &state, Call call) {
    const HeaderValues &values = HeaderValues::mixed_million();
    for (auto _ : state) {
        values.for_each(call);
    }
    state.SetBytesProcessed(state.iterations() * values.size());
}

void header_values_byte_table_scan(benchmark::State &state) {
    std::array<unsigned char, 256> table{};
    for (std::size_t i = 1; i < table.size(); ++i) {
        table[i] = static_cast<unsigned char>(i % 7 + 1);
    }
    benchmark::DoNotOptimize(table);
    for_all(state, [&table](const char *value) {
        unsigned sum = 0;
        for (const char *p = value; *p != '\0'; ++p) {
            sum += table[static_cast<unsigned char>(*p)];
        }
        benchmark::DoNotOptimize(sum);
    });
}
BENCHMARK(header_values_byte_table_scan)->Unit(benchmark::kMillisecond);

void header_values_into_utf8(benchmark::State &state) {
    dstring out;
    dstring_init(&out);
    std::array<char, MIM_CHARSET_SIZE> charset{"UTF-8"};
    for_all(state, [&](const char *value) {
        dstring_setLength(&out, 0);
        mim_2047_to_string_and_cset_dstring(value, &out, charset.data(), 1);
        benchmark::DoNotOptimize(out.data);
    });
    dstring_free(&out);
}
BENCHMARK(header_values_into_utf8)->Unit(benchmark::kMillisecond);

#ifdef MIM_HAS_GMIME
void header_values_gmime(benchmark::State &state) {
    g_mime_init();
    for_all(state, [](const char *value) {
        char *decoded = g_mime_utils_header_decode_text(nullptr, value);
        benchmark::DoNotOptimize(decoded);
        g_free(decoded);
    });
}
BENCHMARK(header_values_gmime)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
