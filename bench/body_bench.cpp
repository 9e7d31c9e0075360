// Bodies from file to file, beside the least that such a run can cost: `rw1K` reads blocks of 1,023 bytes and
// writes blocks of 1,024, as the encoders do.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <random>
#include <string>

#include "bench_file.h"
#include "mim.h"

namespace {

constexpr std::size_t kTextSize = std::size_t{64} << 20U;
constexpr std::size_t kBinarySize = std::size_t{16} << 20U;

// Text in a Latin alphabet: words, lines of some 65 characters, one letter in thirty beyond ASCII.
std::string latin_text(std::size_t size) {
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

std::string binary(std::size_t size) {
    std::mt19937 random{2};
    std::string bytes(size, '\0');
    for (char &c : bytes) {
        c = static_cast<char>(random());
    }
    return bytes;
}

// The inputs, written once.
class Inputs {
  public:
    static const Inputs &get() {
        static const Inputs inputs;
        return inputs;
    }

    BenchFile text{"latin"};
    BenchFile bytes{"binary"};

  private:
    Inputs() {
        std::ofstream{text.path(), std::ios::binary} << latin_text(kTextSize);
        std::ofstream{bytes.path(), std::ios::binary} << binary(kBinarySize);
    }
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

template <typename Body>
void from_file_to_file(benchmark::State &state, const BenchFile &input, std::size_t size, Body body) {
    const BenchFile output{"out"};
    for (auto _ : state) {
        const Descriptors files{input.path(), output.path()};
        body(files.in, files.out);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

void rw1K(benchmark::State &state) {
    from_file_to_file(state, Inputs::get().text, kTextSize, [](int in, int out) {
        std::array<char, 1024> block{};
        while (read(in, block.data(), 1023) > 0) {
            benchmark::DoNotOptimize(write(out, block.data(), block.size()));
        }
    });
}
BENCHMARK(rw1K)->Unit(benchmark::kMillisecond)->UseRealTime();

void encode_text(benchmark::State &state, const char *encoding, int crlf) {
    from_file_to_file(state, Inputs::get().text, kTextSize,
                      [=](int in, int out) { mim_EncodeMimeFile(in, out, encoding, nullptr, crlf); });
}
BENCHMARK_CAPTURE(encode_text, base64, "BASE64", 0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(encode_text, quoted_printable, "QUOTED-PRINTABLE", 0)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(encode_text, pass_through_crlf, "8BIT", 1)->Unit(benchmark::kMillisecond)->UseRealTime();

void encode_binary(benchmark::State &state, const char *encoding) {
    from_file_to_file(state, Inputs::get().bytes, kBinarySize,
                      [=](int in, int out) { mim_EncodeMimeFile(in, out, encoding, nullptr, 0); });
}
BENCHMARK_CAPTURE(encode_binary, quoted_printable, "QUOTED-PRINTABLE")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
