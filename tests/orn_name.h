// O/R names of a test's own, and the texts made from them.
#ifndef TESTS_ORN_NAME_H
#define TESTS_ORN_NAME_H

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "mim.h"

// What `call` writes into a heap buffer of just `size` bytes, junk until then.
template <typename Call>
std::string written(std::size_t size, Call call) {
    std::vector<char> out(size, '#');
    call(out.data());
    const auto end = std::find(out.begin(), out.end(), '\0');
    if (end == out.end()) {
        EXPECT_EQ(std::count(out.begin(), end, '#'), static_cast<std::ptrdiff_t>(size)) << "not terminated";
        return "-";
    }
    return {out.begin(), end};
}

// The result of `call` and the text that it writes.
template <typename Call>
std::string answer(Call call, std::size_t size = MIM_TEXT_SIZE) {
    int result = -1;
    const std::string text = written(size, [&](char *out) { result = call(out); });
    return std::to_string(result) + (text.empty() ? "" : " ") + text;
}

// The text form.
inline std::string text_form(const char *orn) {
    const int length = nm_FormatText(orn, nullptr, 0);
    EXPECT_LT(length, NM_TEXT_SIZE);
    return written(static_cast<std::size_t>(length) + 1,
                   [&](char *out) { EXPECT_EQ(nm_FormatText(orn, out, length + 1), length); });
}

// A name and its index, junk until a call fills them.
struct OrnName {
    [[nodiscard]] std::string field(int number) const {
        return written(NM_ORN_SIZE,
                       [&](char *text) { nm_GetFieldStr(orn.data(), &index, number, text, NM_ORN_SIZE); });
    }

    std::vector<char> orn = std::vector<char>(NM_ORN_SIZE, '#');
    nm_index index{};
};

// The name that a text form stands for.
inline OrnName parsed(const std::string &text) {
    OrnName name;
    nm_text_error error{0, ""};
    EXPECT_TRUE(nm_ParseText(text.c_str(), name.orn.data(), &name.index, &error)) << text << ": " << error.reason;
    return name;
}

#endif
