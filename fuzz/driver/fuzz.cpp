// The targets of a program, and what holds for each of their cases.

#include "fuzz.h"

#include <algorithm>
#include <utility>

#include "ext.h"
#include "text/ascii.h"

namespace fuzz {

constinit const Target *first_target = nullptr;

Target::Target(const char *target_name, void (*target_run)(Input &))
    : name(target_name), run(target_run), next(std::exchange(first_target, this)) {}

std::string printable(std::string_view text) {
    std::string out;
    for (const char c : text) {
        constexpr const char *kHex = "0123456789ABCDEF";
        if (c >= ' ' && c <= '~' && c != '\\') {
            out += c;
        } else {
            out += {'\\', 'x', kHex[c >> 4 & 15], kHex[c & 15]};
        }
    }
    return out;
}

void use_example_home_once() {
    static const bool is_set = (ext_SetHome(MIM_EXAMPLES "/home"), true);
    static_cast<void>(is_set);
}

void run(const Target &target, std::string_view bytes) {
    er_SetLogSink(
        [](void *, int, const char *line) {
            const std::string_view entry{line};
            expect(entry.size() < ER_LOG_SIZE &&
                       std::none_of(entry.begin(), entry.end(),
                                    [](char c) { return text::kControls.contains(c); }),
                   "a text from mail forges no log line", entry);
        },
        nullptr);
    Input in{bytes};
    target.run(in);
}

}  // namespace fuzz
