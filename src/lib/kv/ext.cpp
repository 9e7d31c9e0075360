// The server's home and the real names of its files.

#include "ext.h"

#include <array>
#include <cstdlib>
#include <string_view>

#include "failures.h"
#include "home_file.h"
#include "text/writer.h"

namespace {

constexpr const char *kHomeVariable = "KV_HOME";
constexpr std::string_view kDefaultHome = "/var/lib/mim";
constexpr std::string_view kHomePrefix = "~/";

// The home in use; found at the first use, then kept until ext_SetHome.
struct Home {
    std::array<char, EXT_PATH_SIZE> directory{};
    std::uint64_t generation = 1;
};
Home home;

void set_home(std::string_view directory) {
    while (directory.size() > 1 && directory.back() == '/') {
        directory.remove_suffix(1);
    }
    if (directory.size() >= EXT_PATH_SIZE) {
        er_TracedEscape(MES_SET_SERVER, kv::kPathTooLong, "ext", __LINE__);
    }
    text::copy_text(directory, home.directory.data(), home.directory.size());
}

}  // namespace

std::uint64_t kv::home_generation() {
    return home.generation;
}

void ext_SetHome(const char *directory) {
    set_home(directory != nullptr ? directory : "");
    ++home.generation;
}

const char *ext_GetHome(void) {
    if (home.directory.front() == '\0') {
        const char *variable = std::getenv(kHomeVariable);
        const bool is_set = variable != nullptr && *variable != '\0';
        set_home(is_set ? std::string_view{variable} : kDefaultHome);
    }
    return home.directory.data();
}

void ext_GetActualFName(const char *path, char *result) {
    const std::string_view name{path};
    text::Writer out{result, EXT_PATH_SIZE};
    if (name.substr(0, kHomePrefix.size()) == kHomePrefix) {
        out.append(std::string_view{ext_GetHome()});
        out.append(name.substr(kHomePrefix.size() - 1));
    } else {
        out.append(name);
    }
    if (out.finish() >= EXT_PATH_SIZE) {
        *result = '\0';
        er_TracedEscape(MES_SET_SERVER, kv::kPathTooLong, "ext", __LINE__);
    }
}
