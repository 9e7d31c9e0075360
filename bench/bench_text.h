// What the benchmarks read: the same addresses in every run.
#ifndef BENCH_TEXT_H
#define BENCH_TEXT_H

#include <array>
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

#endif
