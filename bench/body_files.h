// What the benchmarks of bodies run on: inputs that are written once, and runs from file to file.
#ifndef BODY_FILES_H
#define BODY_FILES_H

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <string_view>

#include "bench_file.h"

constexpr std::size_t kTextSize = std::size_t{64} << 20U;
constexpr std::size_t kBinarySize = std::size_t{16} << 20U;

// Text in a Latin alphabet: words, lines of some 65 characters, one letter in thirty beyond ASCII.
inline std::string latin_text(std::size_t size) {
    std::mt19937 random{1};
    std::string text;
    std::size_t column = 0;
    while (text.size() < size) {
        const std::size_t word = 2 + random() % 9;
        for (std::size_t i = 0; i < word; ++i) {
            text += random() % 30 == 0 ? static_cast<char>(0xC0 + random() % 0x40)
                                       : static_cast<char>('a' + random() % 26);
        }
        column += word + 1;
        text += column > 60 ? '\n' : ' ';
        column = column > 60 ? 0 : column;
    }
    text.resize(size);
    return text;
}

inline std::string binary(std::size_t size) {
    std::mt19937 random{2};
    std::string bytes(size, '\0');
    for (char &c : bytes) {
        c = static_cast<char>(random());
    }
    return bytes;
}

// A file of some content.
class InputFile {
  public:
    InputFile(const char *name, std::string_view content) : file_(name), size_(content.size()) {
        std::ofstream{file_.path(), std::ios::binary} << content;
    }

    // What `write` puts there.
    InputFile(const char *name, const std::function<void(int out)> &write) : file_(name) {
        const int out = open(file_.path(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        write(out);
        close(out);
        size_ = std::filesystem::file_size(file_.path());
    }

    [[nodiscard]] const char *path() const { return file_.path(); }
    [[nodiscard]] std::size_t size() const { return size_; }

  private:
    BenchFile file_;
    std::size_t size_ = 0;
};

// The bodies that are encoded.
struct Bodies {
    static const Bodies &get() {
        static const Bodies bodies;
        return bodies;
    }

    InputFile text{"latin", latin_text(kTextSize)};
    InputFile bytes{"binary", binary(kBinarySize)};
};

// Two open descriptors: the input, and a file that is made anew each time.
class Descriptors {
  public:
    Descriptors(const char *from, const char *to)
        : in(open(from, O_RDONLY | O_CLOEXEC)),
          out(open(to, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)) {}
    Descriptors(const Descriptors &) = delete;
    Descriptors &operator=(const Descriptors &) = delete;
    ~Descriptors() {
        close(in);
        close(out);
    }

    const int in;
    const int out;
};

// Times `body` on two descriptors, by the bytes of the input.
template <typename Body>
void from_file_to_file(benchmark::State &state, const InputFile &input, Body body) {
    const BenchFile output{"out"};
    for (auto _ : state) {
        const Descriptors files{input.path(), output.path()};
        body(files.in, files.out);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(input.size()));
}

#endif
