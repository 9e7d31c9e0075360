// fuzz-replay TARGET DIRECTORY: runs the target on each file of the directory, whole and cut at every byte.

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz.h"

int main(int argc, char **argv) {
    const fuzz::Target *target = fuzz::first_target;
    while (argc == 3 && target != nullptr && std::strcmp(target->name, argv[1]) != 0) {
        target = target->next;
    }
    if (argc != 3 || target == nullptr) {
        std::cerr << "usage: fuzz-replay TARGET DIRECTORY\n";
        return 2;
    }
    std::size_t seeds = 0;
    std::size_t cases = 0;
    for (const auto &entry : std::filesystem::directory_iterator{argv[2]}) {
        std::cout << entry.path().filename().string() << std::endl;
        std::ifstream file{entry.path(), std::ios::binary};
        const std::string bytes{std::istreambuf_iterator<char>{file}, {}};
        for (std::size_t size = 0; size <= bytes.size(); ++size, ++cases) {
            fuzz::run(*target, {bytes.data(), size});
        }
        ++seeds;
    }
    std::cout << cases << " cases from " << seeds << " seeds\n";
    return seeds > 0 ? 0 : 1;
}
