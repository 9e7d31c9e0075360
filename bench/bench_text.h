// What the benchmarks read: the same addresses in every run.
#ifndef BENCH_TEXT_H
#define BENCH_TEXT_H

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

// Addresses as they stand in headers, in the mix of everyday mail: bare, phrase and angle, quoted local part,
// comment, route.
inline std::vector<std::string> mixed_addresses() {
    constexpr std::array<const char *, 10> kForms{
        "jdoe@example.org",
        "John Doe <john.doe@mail.example.org>",
        "\"Doe, John\" <jdoe@example.com>",
        "\"john doe\"@example.net",
        "j.smith@sales.example.com (Jane Smith)",
        "<@relay.example.net,@gw.example.org:user@host.example.com>",
        "bounces+list-1234=jdoe=example.org@lists.example.net",
        "Accounts Payable (Europe) <accounts.payable@finance.example.org>",
        "postmaster@example.org",
        "Maria Garcia Lopez <maria.garcia@example.es>",
    };
    return {kForms.begin(), kForms.end()};
}

inline std::int64_t total_size(const std::vector<std::string> &texts) {
    std::int64_t size = 0;
    for (const std::string &text : texts) {
        size += static_cast<std::int64_t>(text.size());
    }
    return size;
}

// The least that reading each byte of the texts can cost: one look into a table for each.
inline void scan_with_table(benchmark::State &state, const std::vector<std::string> &texts) {
    std::array<unsigned char, 256> table{};
    for (std::size_t i = 1; i < table.size(); ++i) {
        table[i] = static_cast<unsigned char>(i % 7 + 1);
    }
    benchmark::DoNotOptimize(table);
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

#endif
