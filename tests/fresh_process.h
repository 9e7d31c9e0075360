// Cases, and processes of their own for them: much of the library's configuration is read once per process.
#ifndef TESTS_FRESH_PROCESS_H
#define TESTS_FRESH_PROCESS_H

#include <gtest/gtest.h>
#include <sanitizer/lsan_interface.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/ascii.h"

// The text (of a few KB) that `call` returns in a child process. What it expects there is expected here too, and
// so is that it returns at all.
template <typename Call>
std::string in_fresh_process(Call call) {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const bool failed_before = testing::Test::HasFailure();
        const std::string text = call();
        const bool told = write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
        std::fflush(nullptr);
#ifdef __SANITIZE_ADDRESS__
        if (__lsan_do_recoverable_leak_check() != 0) {
            _exit(2);
        }
#endif
        const int status = told && (failed_before || !testing::Test::HasFailure()) ? 0 : 1;
#ifdef MIM_COVERAGE
        std::exit(status);  // each library writes its counts
#endif
        _exit(status);
    }
    close(ends[1]);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "the child process failed, or ended before its time";
    std::string text(65536, '\0');
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(read(ends[0], text.data(), text.size()), 0)));
    close(ends[0]);
    return text;
}

// Texts, and what is to be made of each: in a table TEXT -> WANT, one to a line or with "|" between them, where
// ~HH is a byte and c^N so many of the character c.
using Cases = std::vector<std::pair<std::string, std::string>>;
inline Cases cases(std::string_view table) {
    const auto decode = [](std::string_view text) {
        std::string out;
        text = text::trim(text, text::kBlanks);
        for (std::size_t at = 0; at < text.size(); ++at) {
            if (text[at] == '~') {
                out += static_cast<char>(std::stoi(std::string{text.substr(at + 1, 2)}, nullptr, 16));
                at += 2;
            } else if (text[at] == '^') {
                std::size_t digits = 0;
                out.append(std::stoul(std::string{text.substr(at + 1)}, &digits) - 1, out.back());
                at += digits;
            } else {
                out += text[at];
            }
        }
        return out;
    };
    Cases rows;
    while (!table.empty()) {
        const std::string_view row = table.substr(0, table.find_first_of("|\n"));
        if (const std::size_t arrow = row.find("->"); arrow != std::string_view::npos) {
            rows.emplace_back(decode(row.substr(0, arrow)), decode(row.substr(arrow + 2)));
        }
        table.remove_prefix(std::min(row.size() + 1, table.size()));
    }
    return rows;
}

// Expects that `call` makes of each text what is wanted.
template <typename Call>
void expect_cases(std::string_view table, Call call) {
    for (const auto &[text, want] : cases(table)) {
        EXPECT_EQ(call(text), want) << "for " << testing::PrintToString(text);
    }
}

// The same, each case in a process of its own.
template <typename Call>
void expect_fresh(std::string_view table, Call call) {
    expect_cases(table, [&call](const std::string &text) {
        return in_fresh_process([&] { return std::string{call(text)}; });
    });
}

#endif
