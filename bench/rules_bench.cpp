// The matcher, on what mail brings and on what an attacker would send; a rule at its limit of applications.

#include <benchmark/benchmark.h>

#include <array>
#include <string>
#include <vector>

#include "mim.h"

namespace {

void match(benchmark::State &state, const std::string &subject, const std::string &pattern) {
    std::array<const char *, MIM_CAPTURES> starts{};
    std::array<int, MIM_CAPTURES> lengths{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            mim_MatchRulePattern(subject.c_str(), pattern.c_str(), starts.data(), lengths.data(), 0));
    }
}

std::string repeated(const char *text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) {
        all += text;
    }
    return all;
}

constexpr int kLongest = MIM_MAX_REWRITE;

BENCHMARK_CAPTURE(match, friendly_local_part, "john.doe@mail.example.org", "$*@$*");
BENCHMARK_CAPTURE(match, friendly_angle, "John Doe <john.doe@mail.example.org>", "$*<$*@$*>$*");
BENCHMARK_CAPTURE(match, friendly_miss, "john.doe@mail.example.org", "$*!$*");
BENCHMARK_CAPTURE(match, hostile_dots, repeated(".", kLongest), "$*.$*.$*@$*");
BENCHMARK_CAPTURE(match, hostile_dots_and_at, repeated(".", kLongest) + "@", "$*.$*.$*.$*@x$*");
BENCHMARK_CAPTURE(match, hostile_ten_wildcards, repeated("a", kLongest), repeated("$*a", 10) + "$*b$*");
BENCHMARK_CAPTURE(match, hostile_most_wildcards, repeated("a", kLongest), repeated("$*", 125) + "b$*");
BENCHMARK_CAPTURE(match, hostile_brackets, repeated("[", kLongest), repeated("$*[", 10) + "$*b$*");
BENCHMARK_CAPTURE(match, hostile_quotes, repeated("\"", kLongest), repeated("$*\"", 10) + "$*b$*");

// A rule that rewrites its own result up to the limit, on a subject of the greatest length.
void apply(benchmark::State &state, const std::string &subject, const std::string &pattern,
           const char *replacement) {
    std::vector<char> buffer(MIM_SUBJECT_SIZE);
    for (auto _ : state) {
        subject.copy(buffer.data(), subject.size());
        buffer[subject.size()] = '\0';
        int stop = 0;
        mim_ProcessRule(buffer.data(), pattern.c_str(), replacement, &stop);
    }
}
BENCHMARK_CAPTURE(apply, friendly, "john.doe@mail.example.org", "$*@$*", "$@$1");
BENCHMARK_CAPTURE(apply, hostile_100_applications, repeated("a", kLongest - 1) + "b", "$*a$+b", "$1a$2b");

}  // namespace
