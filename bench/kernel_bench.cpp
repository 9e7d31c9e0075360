// The kernels of the transfer encodings from memory to memory, beside `memcpy`, each timed by the bytes that
// it reads.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "body_files.h"
#include "text/base64.h"
#include "text/quoted_printable.h"
#include "text/quoted_printable_decode.h"

namespace {

namespace base64 = text::base64;
namespace qp = text::quoted_printable;

constexpr std::size_t kSize = std::size_t{256} << 10U;  // what they read and write stays in the cache
constexpr std::size_t kSlack = 128;                     // more than any kernel asks for

// A text in memory that can be read kSlack bytes beyond its end.
struct Text {
    explicit Text(std::string_view content) : bytes(content), size(content.size()) {
        bytes.append(kSlack, '\0');
    }
    [[nodiscard]] std::string_view view() const { return {bytes.data(), size}; }

    std::string bytes;
    std::size_t size;
};

Text base64_of(std::string_view bytes) {
    const std::size_t groups = bytes.size() / base64::kGroupBytes;
    std::string to(groups * base64::kGroupCharacters, '\0');
    base64::encode_plain(reinterpret_cast<const unsigned char *>(bytes.data()), groups, to.data());
    return Text{to};
}

Text quoted_printable_of(std::string_view bytes) {
    std::string to(qp::kEncodedLength * bytes.size() + kSlack, '\0');
    return Text{{to.data(), qp::encode_plain(qp::kBodyCodes, bytes, to.data())}};
}

// Times `kernel` from the text to other memory, by the bytes of the text; `memcpy` is the row for it to be
// held against.
template <typename Kernel>
void from_memory(benchmark::State &state, const Text &text, Kernel kernel) {
    std::string to(qp::kEncodedLength * text.size + kSlack, '\0');
    for (auto _ : state) {
        kernel(text.view(), to.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size));
}

void copy_memory(benchmark::State &state) {
    from_memory(state, Text{latin_text(kSize)},
                [](std::string_view in, char *out) { std::memcpy(out, in.data(), in.size()); });
}
BENCHMARK(copy_memory);

void base64_encode(benchmark::State &state) {
    from_memory(state, Text{binary(kSize)}, [](std::string_view in, char *out) {
        const auto *bytes = reinterpret_cast<const unsigned char *>(in.data());
        base64::encoder()(bytes, in.size() / base64::kGroupBytes, out);
    });
}
BENCHMARK(base64_encode);

void base64_decode(benchmark::State &state) {
    from_memory(state, base64_of(binary(kSize)), [](std::string_view in, char *out) {
        base64::decoder()(in.data(), in.size(), reinterpret_cast<unsigned char *>(out));
    });
}
BENCHMARK(base64_decode);

using Body = std::string(std::size_t size);

void quoted_printable_encode(benchmark::State &state, Body *body) {
    from_memory(state, Text{body(kSize)},
                [](std::string_view in, char *out) { qp::encoder(qp::kBodyCodes)(qp::kBodyCodes, in, out); });
}
BENCHMARK_CAPTURE(quoted_printable_encode, text, latin_text);
BENCHMARK_CAPTURE(quoted_printable_encode, bytes, binary);

void quoted_printable_decode(benchmark::State &state, Body *body) {
    from_memory(state, quoted_printable_of(body(kSize)),
                [](std::string_view in, char *out) { qp::decoder()(in, out); });
}
BENCHMARK_CAPTURE(quoted_printable_decode, text, latin_text);
BENCHMARK_CAPTURE(quoted_printable_decode, bytes, binary);

}  // namespace
