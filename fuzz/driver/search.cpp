// What libFuzzer calls with each case that it tries on a program's one target.

#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
    fuzz::run(*fuzz::first_target, {reinterpret_cast<const char *>(bytes), size});
    return 0;
}
