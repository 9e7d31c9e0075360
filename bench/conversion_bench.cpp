// The gateway map beside a plain getline loop over the same file, and the whole conversion.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "bench_file.h"
#include "bench_text.h"
#include "ext.h"
#include "mim.h"

namespace {

// A map of `lines` entries.
class MapFile : public BenchFile {
  public:
    explicit MapFile(std::int64_t lines) : BenchFile("map") {
        std::ofstream out{path()};
        for (std::int64_t i = 0; i < lines; ++i) {
            out << "dept" << i << ".site" << i % 97 << (i % 3 == 0 ? ".example.org" : ".example.com")
                << "#C$gb.ADMD$albion"
                << ".PRMD$acme.O$Acme.OU$site" << i % 97 << ".OU$dept" << i << "#\n";
        }
    }
};

void getline_loop(benchmark::State &state) {
    const MapFile map{state.range(0)};
    for (auto _ : state) {
        std::FILE *file = std::fopen(map.path(), "r");
        char *line = nullptr;
        std::size_t capacity = 0;
        std::size_t total = 0;
        for (ssize_t length = 0; (length = getline(&line, &capacity, file)) >= 0;) {
            total += static_cast<std::size_t>(length);
        }
        benchmark::DoNotOptimize(total);
        std::free(line);
        std::fclose(file);
    }
}
BENCHMARK(getline_loop)->Arg(10)->Arg(1000)->Arg(100000);

void map_lookup(benchmark::State &state) {
    const MapFile map{state.range(0)};
    const std::string domain = "mail.dept" + std::to_string(state.range(0) / 2) + ".site1.example.org";
    std::array<char, NM_ORN_SIZE> orn{};
    nm_index index;
    nm_InitORN(orn.data(), &index);
    for (auto _ : state) {
        benchmark::DoNotOptimize(mim_ArpaDomainLookup(map.path(), domain.c_str(), orn.data(), &index, 0));
    }
}
BENCHMARK(map_lookup)->Arg(10)->Arg(1000)->Arg(100000);

// One address after the other, with the example home.
void conversion(benchmark::State &state) {
    ext_SetHome(MIM_EXAMPLES "/home");
    const auto addresses = mixed_addresses();
    std::array<char, NM_ORN_SIZE> orn{};
    nm_index index;
    std::size_t next = 0;
    for (auto _ : state) {
        mim_ArpaToORN2(addresses[next].c_str(), orn.data(), &index, 0);
        next = (next + 1) % addresses.size();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(conversion);

// Storing the fields of a conversion in an O/R name.
void store_fields(benchmark::State &state) {
    std::array<char, NM_ORN_SIZE> orn{};
    nm_index index;
    constexpr std::array<int, 8> kFields{NM_SURNAME, NM_COUNTRY,      NM_ADMD,      NM_PRMD,
                                         NM_OU1,     NM_ORGANISATION, NM_DDA1_TYPE, NM_DDA1_VALUE};
    for (auto _ : state) {
        nm_InitORN(orn.data(), &index);
        for (const int field : kFields) {
            nm_PutFieldStr(orn.data(), &index, field, "a value of some length");
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kFields.size()));
}
BENCHMARK(store_fields);

}  // namespace
