// Encoded bodies from file to file, beside the least that such a run can cost: `line64K` reads 64 KiB at a
// time, finds the line ends, copies the lines, of at most 1 KiB, and writes 64 KiB at a time. Each row is
// timed by the bytes of its encoded input, which the limit row reads as well. With GMime 3, rows of its
// filters on blocks of 64 KiB.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "body_files.h"
#include "mim.h"
#include "os.h"

#ifdef MIM_HAS_GMIME
#include <gmime/gmime.h>
#endif

namespace {

constexpr std::size_t kBlockSize = 65536;
constexpr std::size_t kLineSize = 1024;

std::string uuencoded(const std::string &bytes) {
    constexpr std::size_t kLineBytes = 45;
    constexpr std::size_t kGroup = 3;
    const auto character = [](unsigned bits) {
        return static_cast<char>((bits & 0x3FU) == 0 ? '`' : ' ' + (bits & 0x3FU));
    };
    std::string text = "begin 644 f\n";
    for (std::size_t i = 0; i < bytes.size(); i += kLineBytes) {
        std::string line = bytes.substr(i, kLineBytes);
        text += character(static_cast<unsigned>(line.size()));
        line.append((kGroup - line.size() % kGroup) % kGroup, '\0');
        for (std::size_t j = 0; j < line.size(); j += kGroup) {
            const auto at = [&](std::size_t k) { return unsigned{static_cast<unsigned char>(line[j + k])}; };
            const unsigned bits = at(0) << 16U | at(1) << 8U | at(2);
            for (unsigned shift = 24; shift > 0; shift -= 6) {
                text += character(bits >> (shift - 6));
            }
        }
        text += '\n';
    }
    return text + "`\nend\n";
}

std::string content(const InputFile &file) {
    std::ostringstream text;
    text << std::ifstream{file.path(), std::ios::binary}.rdbuf();
    return text.str();
}

InputFile encoded(const char *name, const InputFile &body, const char *encoding) {
    return {name, [&](int out) {
                const int in = open(body.path(), O_RDONLY | O_CLOEXEC);
                mim_EncodeMimeFile(in, out, encoding, nullptr, 0);
                close(in);
            }};
}

// The inputs, written once.
struct Encoded {
    static const Encoded &get() {
        static const Encoded inputs;
        return inputs;
    }

    InputFile base64 = encoded("base64", Bodies::get().text, "BASE64");
    InputFile text = encoded("quoted-text", Bodies::get().text, "QUOTED-PRINTABLE");
    InputFile bytes = encoded("quoted-bytes", Bodies::get().bytes, "QUOTED-PRINTABLE");
    InputFile uuencode{"uuencode", uuencoded(content(Bodies::get().text))};
};
using Input = InputFile Encoded::*;

void line64K(benchmark::State &state, Input input) {
    const auto in_block = std::make_unique<std::array<char, kBlockSize>>();
    const auto out_block = std::make_unique<std::array<char, kBlockSize + kLineSize>>();
    from_file_to_file(state, Encoded::get().*input, [&](int in, int out) {
        char *const begin = out_block->data();
        char *end = begin;
        for (ssize_t count = 0; (count = read(in, in_block->data(), kBlockSize)) > 0;) {
            const char *next = in_block->data();
            for (auto left = static_cast<std::size_t>(count); left > 0;) {
                const std::size_t room = std::min(left, kLineSize);
                const auto *newline = static_cast<const char *>(std::memchr(next, '\n', room));
                const std::size_t length =
                    newline != nullptr ? static_cast<std::size_t>(newline - next) + 1 : room;
                std::memcpy(end, next, length);
                end += length;
                next += length;
                left -= length;
                if (static_cast<std::size_t>(end - begin) >= kBlockSize) {
                    benchmark::DoNotOptimize(write(out, begin, kBlockSize));
                    end = std::copy(begin + kBlockSize, end, begin);
                }
            }
        }
        benchmark::DoNotOptimize(write(out, begin, static_cast<std::size_t>(end - begin)));
    });
}

void decode(benchmark::State &state, Input input, const char *encoding) {
    from_file_to_file(state, Encoded::get().*input, [=](int in, int out) {
        os_file *from = os_fdopen(in, "r");
        os_file *to = os_fdopen(out, "w");
        int message_end = 0;
        int closing_boundary_seen = 0;
        mim_DecodeMimeFile(from, to, encoding, "--boundary", "--boundary--", &message_end,
                           &closing_boundary_seen, 0);
        os_fclose(to);
        os_fclose(from);
    });
}

#ifdef MIM_HAS_GMIME
void gmime(benchmark::State &state, Input input, GMimeContentEncoding encoding) {
    g_mime_init();
    const auto block = std::make_unique<std::array<char, kBlockSize>>();
    from_file_to_file(state, Encoded::get().*input, [&](int in, int out) {
        GMimeStream *file = g_mime_stream_fs_new(dup(out));
        GMimeStream *to = g_mime_stream_filter_new(file);
        GMimeFilter *filter = g_mime_filter_basic_new(encoding, FALSE);
        g_mime_stream_filter_add(reinterpret_cast<GMimeStreamFilter *>(to), filter);
        for (ssize_t count = 0; (count = read(in, block->data(), kBlockSize)) > 0;) {
            g_mime_stream_write(to, block->data(), static_cast<std::size_t>(count));
        }
        g_mime_stream_flush(to);
        g_object_unref(filter);
        g_object_unref(to);
        g_object_unref(file);
    });
}
#define MIM_GMIME_ROW(name, encoding) \
    BENCHMARK_CAPTURE(gmime, name, &Encoded::name, encoding)->Unit(benchmark::kMillisecond)->UseRealTime();
#else
#define MIM_GMIME_ROW(name, encoding)
#endif

// The rows of one input.
#define MIM_ROWS(name, encoding, gmime_encoding)                                                             \
    BENCHMARK_CAPTURE(line64K, name, &Encoded::name)->Unit(benchmark::kMillisecond)->UseRealTime();          \
    BENCHMARK_CAPTURE(decode, name, &Encoded::name, encoding)->Unit(benchmark::kMillisecond)->UseRealTime(); \
    MIM_GMIME_ROW(name, gmime_encoding)

MIM_ROWS(base64, "BASE64", GMIME_CONTENT_ENCODING_BASE64)
MIM_ROWS(text, "QUOTED-PRINTABLE", GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE)
MIM_ROWS(bytes, "QUOTED-PRINTABLE", GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE)
MIM_ROWS(uuencode, "X-UUENCODE", GMIME_CONTENT_ENCODING_UUENCODE)

}  // namespace
