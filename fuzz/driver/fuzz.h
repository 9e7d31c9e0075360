// What the fuzz targets stand on: FUZZ_TARGET(name) { ... } reads its case from `in` and holds the library to
// it.
//
// A case is bytes that choose options and texts that end in a zero byte; what is left may be the content of a
// file. Each call gets heap copies of just the documented size, so that a sanitizer sees a byte too many. A
// failure of the error service is a result like any other, but for the environment chain, which must be as
// before.
#ifndef FUZZ_FUZZ_H
#define FUZZ_FUZZ_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "er.h"

namespace fuzz {

// Reads a case from its beginning; behind its end are zeros and empty texts.
class Input {
  public:
    explicit Input(std::string_view bytes) : rest_(bytes) {}

    // A number below `count`; the digits choose the first ten.
    std::size_t below(std::size_t count) {
        const auto byte = static_cast<unsigned char>(rest_.empty() ? '0' : rest_.front());
        rest_.remove_prefix(rest_.empty() ? 0 : 1);
        return static_cast<unsigned char>(byte - '0') % count;
    }
    int flag() { return static_cast<int>(below(2)); }
    std::int16_t small(std::size_t count) { return static_cast<std::int16_t>(below(count)); }

    // The text up to the next zero byte, at most `size` characters of it.
    std::string text(std::size_t size = SIZE_MAX) {
        const std::string_view whole = rest_.substr(0, rest_.find('\0'));
        rest_.remove_prefix(whole.size() + (whole.size() < rest_.size() ? 1 : 0));
        return std::string{whole.substr(0, size)};
    }

    std::string rest() { return std::string{std::exchange(rest_, {})}; }

  private:
    std::string_view rest_;
};

// A text that may be changed in place, in a block of `size` bytes, else of just its own size.
class Copy {
  public:
    explicit Copy(std::string_view text, std::size_t size = 0)
        : bytes_(new char[size != 0 ? size : text.size() + 1]) {
        bytes_[text.copy(bytes_.get(), text.size())] = '\0';
    }
    operator char *() const { return bytes_.get(); }

  private:
    std::unique_ptr<char[]> bytes_;
};

std::string printable(std::string_view text);

// Ends the process unless a promise is kept.
inline void expect(bool is_kept, const char *promise, std::string_view got = {}, std::string_view want = {}) {
    if (!is_kept) {
        std::cerr << "broken: " << promise << "\n  got  " << printable(got) << "\n  want " << printable(want)
                  << "\n";
        std::abort();
    }
}
inline void expect_equal(std::string_view got, std::string_view want, const char *promise) {
    expect(got == want, promise, got, want);
}

// Runs `call`; false when a failure ended it.
template <typename Call>
bool succeeds(Call call) {
    const er_environment *before = er_GetCurrEnv();
    const bool is_good = er_Try([](void *context) { (*static_cast<Call *>(context))(); }, &call) == 0;
    er_Clear();
    expect(er_GetCurrEnv() == before, "the environment chain is as before");
    return is_good;
}

// What `call` writes into a block of just `size` bytes, junk until then; "failed" when a failure ended it.
template <typename Call>
std::string written(std::size_t size, Call call) {
    const std::unique_ptr<char[]> out{new char[size]};
    std::fill_n(out.get(), size, '#');
    if (!succeeds([&] { call(out.get()); })) {
        return "failed";
    }
    const std::string_view all{out.get(), size};
    const std::size_t end = all.find('\0');
    expect(end != all.npos || all.find_first_not_of('#') == all.npos, "an output is terminated", all);
    return std::string{all.substr(0, end)};
}

// The result of `call` and the text that it writes.
template <typename Call>
std::string answer(std::size_t size, Call call) {
    int result = -1;
    const std::string text = written(size, [&](char *out) { result = call(out); });
    return std::to_string(result) + ' ' + text;
}

// A text that a call returned; "(null)" for none.
inline std::string text_of(const char *text) {
    return text != nullptr ? text : "(null)";
}

// Makes the example home the server's home, at the first call.
void use_example_home_once();

// A target, known by its name while the program runs.
struct Target {
    Target(const char *target_name, void (*target_run)(Input &));
    const char *name;
    void (*run)(Input &);
    const Target *next;
};

extern const Target *first_target;

// Runs one case.
void run(const Target &target, std::string_view bytes);

}  // namespace fuzz

#define FUZZ_TARGET(name)                                        \
    static void fuzz_##name(fuzz::Input &in);                    \
    static const fuzz::Target target_##name{#name, fuzz_##name}; \
    static void fuzz_##name(fuzz::Input &in)

#endif
