// A server home of a test's own, gone at the end of the test.
#ifndef TESTS_TEMP_HOME_H
#define TESTS_TEMP_HOME_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "ext.h"

class TempHome {
  public:
    // Each file is a name under sys/ and its text.
    TempHome(std::initializer_list<std::pair<const char *, std::string_view>> files = {}) {
        std::string name = (std::filesystem::temp_directory_path() / "mim-home-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary directory: " + name);
        }
        directory_ = name;
        std::filesystem::create_directory(directory_ / "sys");
        ext_SetHome(directory_.c_str());
        for (const auto &[file, text] : files) {
            write(file, text);
        }
    }
    TempHome(const TempHome &) = delete;
    TempHome &operator=(const TempHome &) = delete;
    ~TempHome() {
        ext_SetHome(nullptr);
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }

    // Writes the file sys/NAME, folders of the name included; the services read their files anew.
    void write(const char *name, std::string_view text) {
        const std::filesystem::path file = path(name);
        std::filesystem::create_directories(file.parent_path());
        if (!(std::ofstream{file, std::ios::binary} << text << std::flush)) {
            throw std::runtime_error("cannot write " + file.string());
        }
        ext_SetHome(directory_.c_str());
    }

    // The real name of the file sys/NAME.
    [[nodiscard]] std::filesystem::path path(const char *name) const { return directory_ / "sys" / name; }

  private:
    std::filesystem::path directory_;
};

#endif
