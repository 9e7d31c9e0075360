// A directory of the greatest size to be expected: opening it, and the searches that a conversion makes, from
// the O/R name on. Every name is another one, so that no search finds the last one's memory at hand.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "da.h"
#include "dr.h"
#include "ext.h"
#include "nm.h"

namespace {

constexpr int kEntries = 100000;
constexpr std::size_t kNames = 4096;  // that the searches take in turn

std::string person(int number, std::string_view between) {
    const auto digits = [](int value) { return std::to_string(value); };
    std::string text;
    for (const std::string &attribute :
         {"S=Surname " + digits(number % 20011), "G=Given " + digits(number % 997),
          "I=" + digits(number % 26), "OU1=Site " + digits(number % 97),
          "OU2=Department " + digits(number % 1009), std::string{"O=Meridian Freight"},
          std::string{"PRMD=meridian"}, std::string{"ADMD=albion400"}, std::string{"C=gb"}}) {
        const std::size_t equals = attribute.find('=');
        text.append(attribute, 0, equals).append(between).append(attribute, equals + 1);
        text += between == "=" ? '/' : '\n';
    }
    return text;
}

// A home whose default directory is this one, open; removed at the end.
class BenchDirectory {
  public:
    BenchDirectory()
        : home_(std::filesystem::temp_directory_path() / ("mim-bench-home-" + std::to_string(getpid()))) {
        std::filesystem::create_directories(home_ / "sys/directory");
        std::ofstream out{home_ / "sys/directory/default.ldif"};
        out << "version: 1\n";
        for (int i = 0; i < kEntries; ++i) {
            out << "\ndn: uid=" << i << ",o=Meridian Freight,c=gb\n"
                << person(i, ": ") << "167: user" << i << "@meridian.example\n";
        }
        out.close();
        ext_SetHome(home_.c_str());
        handle_ = dr_OpenDir(0, DR_READ, "", "");
    }
    BenchDirectory(const BenchDirectory &) = delete;
    BenchDirectory &operator=(const BenchDirectory &) = delete;
    ~BenchDirectory() {
        dr_CloseDir(handle_);
        ext_SetHome(nullptr);
        std::filesystem::remove_all(home_);
    }

    static BenchDirectory &instance() {
        static BenchDirectory directory;
        return directory;
    }

    [[nodiscard]] std::int16_t handle() const { return handle_; }

  private:
    std::filesystem::path home_;
    std::int16_t handle_ = 0;
};

void directory_open(benchmark::State &state) {
    BenchDirectory::instance();
    for (auto _ : state) {
        dr_CloseDir(dr_OpenDir(0, DR_READ, "", ""));
    }
}
BENCHMARK(directory_open)->Unit(benchmark::kMillisecond);

// The names of entries all over the directory, each changed by `change`.
template <typename Change>
std::vector<std::string> names(Change change) {
    std::vector<std::string> all;
    std::array<char, NM_ORN_SIZE> orn{};
    nm_index index;
    for (std::size_t i = 0; i < kNames; ++i) {
        std::string text = person(static_cast<int>(i * 7919 % kEntries), "=");
        change(text);
        nm_ParseText(text.c_str(), orn.data(), &index, nullptr);
        all.emplace_back(orn.data());
    }
    return all;
}

// Searches as a conversion does: exactly, and once more loosely where that promises something.
template <typename Change>
void search(benchmark::State &state, Change change, int wanted_count) {
    const std::int16_t directory = BenchDirectory::instance().handle();
    const std::vector<std::string> all = names(change);
    std::size_t next = 0;
    for (auto _ : state) {
        da_list list;
        const da_entry *entry = nullptr;
        int count = 0;
        da_ConvORNToAttribList(all[next++ % kNames].c_str(), &list);
        const auto run = [&] {
            return dr_Search(directory, "", "", &list, 0, 1, "167", &entry, "", 1, -1, &count);
        };
        if (run() == 1) {
            dr_SetFilterModifier(DR_COMPARE_LOOSELY);
            run();
            dr_SetFilterModifier(DR_COMPARE_EXACTLY);
        }
        if (count != wanted_count) {
            state.SkipWithError("the search found something else");
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void set_case(std::string &text) {
    for (char &c : text) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
}

void directory_hit_exact(benchmark::State &state) {
    search(
        state, [](std::string &) {}, 1);
}
void directory_hit_loose(benchmark::State &state) {
    search(state, set_case, 1);
}
void directory_miss_unknown_value(benchmark::State &state) {
    search(
        state, [](std::string &text) { text.insert(2, "no "); }, 0);
}
// Each value is in the directory, but no entry holds them all.
void directory_miss_combination(benchmark::State &state) {
    search(
        state,
        [](std::string &text) {
            char &initial = text[text.find("/I=") + 3];
            initial = initial == '1' ? '2' : '1';
        },
        0);
}
BENCHMARK(directory_hit_exact);
BENCHMARK(directory_hit_loose);
BENCHMARK(directory_miss_unknown_value);
BENCHMARK(directory_miss_combination);

}  // namespace
