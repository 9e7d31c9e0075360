// The tables of types and character sets in the example home: looking up beside a hash table of the same
// keys, which minds the case, and reading a long one beside a loop that only takes its lines.

#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ext.h"
#include "mim.h"

namespace {

// ---- Reading: before anything here looks a type up, for a table that is there is not read again ----

// A home with a table of so many types.
class LongTable {
  public:
    explicit LongTable(std::int64_t lines) : home_("/tmp/mim-bench-XXXXXX") {
        if (mkdtemp(home_.data()) == nullptr) {
            std::abort();
        }
        std::filesystem::create_directory(home_ + "/sys");
        std::ofstream file{path()};
        for (std::int64_t i = 0; i < lines; ++i) {
            file << i << " base64 application/vnd.example.type-" << i << " x" << i % 1000 << "\n";
        }
    }
    LongTable(const LongTable &) = delete;
    LongTable &operator=(const LongTable &) = delete;
    ~LongTable() { std::filesystem::remove_all(home_); }

    [[nodiscard]] const std::string &home() const { return home_; }
    [[nodiscard]] std::string path() const { return home_ + "/sys/mime.types"; }

  private:
    std::string home_;
};

// The time of `call` in a process of its own: the library reads its table once.
template <typename Call>
double seconds_in_fresh_process(Call call) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        std::abort();
    }
    if (fork() == 0) {
        const auto begin = std::chrono::steady_clock::now();
        call();
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        _exit(write(ends[1], &seconds, sizeof seconds) == sizeof seconds ? 0 : 1);
    }
    close(ends[1]);
    double seconds = 0;
    const bool told = read(ends[0], &seconds, sizeof seconds) == sizeof seconds;
    close(ends[0]);
    if (wait(nullptr) < 0 || !told) {
        std::abort();
    }
    return seconds;
}

void names_read_types(benchmark::State &state) {
    const LongTable table{state.range(0)};
    ext_SetHome(table.home().c_str());
    for (auto _ : state) {
        state.SetIterationTime(seconds_in_fresh_process([] { mim_getEncoding(0); }));
    }
}
BENCHMARK(names_read_types)->Arg(200)->Arg(20000)->UseManualTime();

void names_getline(benchmark::State &state) {
    const LongTable table{state.range(0)};
    for (auto _ : state) {
        state.SetIterationTime(seconds_in_fresh_process([&table] {
            std::ifstream file{table.path()};
            std::size_t characters = 0;
            for (std::string line; std::getline(file, line);) {
                characters += line.size();
            }
            benchmark::DoNotOptimize(characters);
        }));
    }
}
BENCHMARK(names_getline)->Arg(200)->Arg(20000)->UseManualTime();

// ---- Looking up ----

// The words of each line that is no comment.
std::vector<std::vector<std::string>> lines_of(const char *name) {
    std::ifstream file{std::string{MIM_EXAMPLES} + "/home/sys/" + name};
    std::vector<std::vector<std::string>> lines;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words{line};
        std::vector<std::string> row;
        for (std::string word; words >> word;) {
            row.push_back(word);
        }
        if (!row.empty() && row.front().front() != '#') {
            lines.push_back(std::move(row));
        }
    }
    return lines;
}

void use_examples() {
    ext_SetHome(MIM_EXAMPLES "/home");
}

// Looks all keys up in turn; the time is that of one.
template <typename Look>
void look_up(benchmark::State &state, const std::vector<std::string> &keys, Look look) {
    look(keys.front());  // reads the table
    std::size_t i = 0;
    for (auto _ : state) {
        look(keys[i]);
        i = i + 1 < keys.size() ? i + 1 : 0;
    }
}

template <typename Value>
void look_up_hashed(benchmark::State &state, const std::vector<std::string> &keys, Value value) {
    std::unordered_map<std::string_view, Value> table;
    for (const std::string &key : keys) {
        table.emplace(key, value);
    }
    look_up(state, keys, [&table](const std::string &key) {
        benchmark::DoNotOptimize(table.find(std::string_view{key}));
    });
}

std::vector<std::string> charset_names(std::size_t column) {
    use_examples();
    std::vector<std::string> names;
    for (const auto &line : lines_of("mime.cs")) {
        names.push_back(line.at(column));
    }
    return names;
}

std::vector<std::string> content_types() {
    use_examples();
    std::vector<std::string> types;
    for (const auto &line : lines_of("mime.types")) {
        if (line.at(2).find('*') == std::string::npos) {
            types.push_back(line.at(2));
        }
    }
    return types;
}

std::vector<std::string> extensions() {
    use_examples();
    std::vector<std::string> names;
    for (const auto &line : lines_of("mime.types")) {
        for (std::size_t i = 3; i < line.size(); ++i) {
            names.push_back("name." + line[i]);
        }
    }
    return names;
}

void names_charset_to_mime(benchmark::State &state) {
    look_up(state, charset_names(0), [](const std::string &name) {
        benchmark::DoNotOptimize(mim_GetCharSetName(name.c_str(), nullptr));
    });
}
BENCHMARK(names_charset_to_mime);

void names_charset_to_server(benchmark::State &state) {
    look_up(state, charset_names(1), [](const std::string &name) {
        benchmark::DoNotOptimize(mim_GetCharSetName(nullptr, name.c_str()));
    });
}
BENCHMARK(names_charset_to_server);

void names_charset_hashed(benchmark::State &state) {
    look_up_hashed(state, charset_names(1), 1);
}
BENCHMARK(names_charset_hashed);

void names_type_of_content(benchmark::State &state) {
    look_up(state, content_types(), [](const std::string &type) {
        int number = 0;
        mim_MimeToKVType(type.c_str(), nullptr, nullptr, &number);
        benchmark::DoNotOptimize(number);
    });
}
BENCHMARK(names_type_of_content);

void names_type_of_content_and_file(benchmark::State &state) {
    look_up(state, content_types(), [](const std::string &type) {
        int number = 0;
        mim_MimeToKVType(type.c_str(), "report.pdf", nullptr, &number);
        benchmark::DoNotOptimize(number);
    });
}
BENCHMARK(names_type_of_content_and_file);

void names_content_hashed(benchmark::State &state) {
    look_up_hashed(state, content_types(), 1);
}
BENCHMARK(names_content_hashed);

void names_type_of_file(benchmark::State &state) {
    look_up(state, extensions(), [](const std::string &name) {
        int number = 0;
        mim_FileExtToKVType(name.c_str(), &number);
        benchmark::DoNotOptimize(number);
    });
}
BENCHMARK(names_type_of_file);

void names_file_hashed(benchmark::State &state) {
    look_up_hashed(state, extensions(), 1);
}
BENCHMARK(names_file_hashed);

void names_extension_of_number(benchmark::State &state) {
    use_examples();
    int number = 1100;
    benchmark::DoNotOptimize(mim_getFileExt(number));
    for (auto _ : state) {
        benchmark::DoNotOptimize(mim_getFileExt(number));
        number = number < 1800 ? number + 1 : 1100;
    }
}
BENCHMARK(names_extension_of_number);

}  // namespace
