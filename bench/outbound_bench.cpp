// O/R names to Internet addresses: the formatting beside a plain copy of the fields, the X.400 map beside the
// gateway map, and whole conversions by each source of an address.

#include <benchmark/benchmark.h>

#include <array>
#include <fstream>
#include <string>

#include "bench_file.h"
#include "ext.h"
#include "mim.h"

namespace {

constexpr const char *kName =
    "/S=Smith/G=John/I=JP/OU1=Sales/OU2=Harbour/O=Acme Shipping/PRMD=acme/ADMD=mail400/C=us/DD.TEL=12 34/";

struct ParsedName {
    explicit ParsedName(const char *text) { nm_ParseText(text, orn.data(), &index, nullptr); }

    std::array<char, NM_ORN_SIZE> orn{};
    nm_index index{};
};

// What formatting cannot do without: the fields, one after the other.
void copy_fields(benchmark::State &state) {
    const ParsedName name{kName};
    std::array<char, NM_ORN_SIZE> out{};
    for (auto _ : state) {
        nm_index index;
        nm_ParseORN(name.orn.data(), &index, nullptr);
        std::size_t length = 0;
        for (int field = 0; field <= NM_LAST_POSTAL; ++field) {
            nm_GetFieldStr(name.orn.data(), &index, field, out.data() + length, 64);
            length += std::char_traits<char>::length(out.data() + length);
        }
        benchmark::DoNotOptimize(length);
    }
}
BENCHMARK(copy_fields);

void format_orn(benchmark::State &state) {
    const ParsedName name{kName};
    std::array<char, MIM_TEXT_SIZE> out{};
    for (auto _ : state) {
        mim_DoFormatORN(name.orn.data(), out.data(), 0, static_cast<std::int16_t>(state.range(0)),
                        static_cast<std::int16_t>(state.range(1)), 0);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(format_orn)->ArgNames({"style", "mode"})->ArgsProduct({{1, 2, 3}, {1, 2}});

// A map with one line for each of `lines` organisations; the name's is in the middle.
class X400Map : public BenchFile {
  public:
    explicit X400Map(std::int64_t lines) : BenchFile("x400-map") {
        std::ofstream out{path()};
        for (std::int64_t i = 0; i < lines; ++i) {
            out << "C$us.ADMD$mail400.PRMD$acme.O$"
                << (i == lines / 2 ? "Acme Shipping" : "Org " + std::to_string(i)) << "#host" << i
                << ".example.org#\n";
        }
    }
};

void x400_map_lookup(benchmark::State &state) {
    const X400Map map{state.range(0)};
    const ParsedName name{kName};
    std::array<char, MIM_TEXT_SIZE> domain{};
    for (auto _ : state) {
        std::array<char, NM_ORN_SIZE> orn = name.orn;
        benchmark::DoNotOptimize(mim_X400DomainLookup(map.path(), orn.data(), domain.data()));
    }
}
BENCHMARK(x400_map_lookup)->Arg(10)->Arg(1000)->Arg(100000);

// One name after the other, with the example home and without a directory.
void convert(benchmark::State &state, const char *text, int routable) {
    ext_SetHome(MIM_EXAMPLES "/home");
    const ParsedName name{text};
    std::array<char, MIM_TEXT_SIZE> out{};
    for (auto _ : state) {
        mim_ConvORNIaToArpaORN(name.orn.data(), out.data(), routable, "", 0, 0, "167", 0, 1, 3, '/', 0, 1, 0);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(convert, recorded_address, "/S=Smith/O=Acme/C=us/IA=John Smith <js@example.org>/", 0);
BENCHMARK_CAPTURE(convert, attribute, "/S=jdoe/O=Acme/C=us/DD.RFC-822=jdoe@example.org/", 1);
BENCHMARK_CAPTURE(convert, domain_map,
                  "/S=King/G=Ada/OU1=London/O=Meridian Freight/PRMD=meridian/ADMD=albion400/C=gb/", 0);
BENCHMARK_CAPTURE(convert, rules, "/S=John Smith/C=zz/", 1);
BENCHMARK_CAPTURE(convert, formatted_name, kName, 0);

}  // namespace
