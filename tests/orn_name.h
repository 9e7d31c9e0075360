// O/R names of a test's own.
#ifndef TESTS_ORN_NAME_H
#define TESTS_ORN_NAME_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "nm.h"

// The text form, written into a heap buffer of just its size.
inline std::string text_form(const char *orn) {
    const int length = nm_FormatText(orn, nullptr, 0);
    EXPECT_LT(length, NM_TEXT_SIZE);
    const std::unique_ptr<char[]> out{new char[static_cast<std::size_t>(length) + 1]};
    EXPECT_EQ(nm_FormatText(orn, out.get(), length + 1), length);
    return out.get();
}

// A name and its index, junk until a call fills them.
struct OrnName {
    [[nodiscard]] std::string field(int number) const {
        std::vector<char> text(NM_ORN_SIZE);
        nm_GetFieldStr(orn.data(), &index, number, text.data(), NM_ORN_SIZE);
        return text.data();
    }

    std::vector<char> orn = std::vector<char>(NM_ORN_SIZE, '#');
    nm_index index{};
};

#endif
