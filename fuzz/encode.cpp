// Bodies encoded: as byte by byte, and decoded again.

#include <array>

#include "body_decode_reference.h"
#include "body_encode_reference.h"
#include "body_streams.h"
#include "fuzz.h"
#include "kept_file.h"

namespace {

using body_encode::Job;

// What is written, with the counts behind it.
std::string encoded(const Job &job) {
    unsigned total = 7;
    unsigned lines = 7;
    const int to = fuzz::kept_file(1, {});
    const fuzz::Copy text{"", MIM_ENCODED_SIZE};
    const fuzz::Copy source{job.in};
    mim_EncMimeData2(fuzz::kept_file(0, job.in), to, job.encoding.c_str(), job.guard,
                     job.is_text ? static_cast<char *>(source) : nullptr, text, job.header_mode, job.crlf,
                     job.at_line_start, &total, &lines, job.fold);
    fuzz::expect(!job.is_text || (total < MIM_ENCODED_SIZE && text[total] == '\0'), "a text is terminated");
    const std::string out =
        job.is_text ? std::string{text, total} : content_of(to);  // 7BIT may make zero bytes
    fuzz::expect(total == out.size(), "the bytes produced are counted");
    return out + " " + std::to_string(lines);
}

std::string encoded_slowly(const Job &job) {
    const body_encode::Result result = body_encode::Reference{job}.run();
    std::string out;
    for (const std::string &block : result.writes) {
        out += block;
    }
    return out + " " + std::to_string(result.lines);
}

void check_way_back(const Job &job, std::string body) {
    constexpr std::size_t kMaxLine = 75;
    body.resize(body.rfind(' '));
    const bool is_quoted = job.encoding == "QUOTED-PRINTABLE";
    std::size_t line = 0;
    for (const char c : body) {
        line = c == '\n' || c == '\r' ? 0 : line + 1;
        fuzz::expect(line <= kMaxLine, "a line is short", body);
    }
    const body_decode::Part part{is_quoted ? "quoted-printable" : "base64", body, 0, nullptr, nullptr};
    std::string back = body_decode::Reference{part}.run().out;
    std::string want = job.in;
    if (is_quoted) {
        // A CR before the line end goes with it, as do a blank before one and one at the end.
        const bool ends = want.ends_with('\n');
        back += ends ? "\n" : "";
        for (std::string *text : {&back, &want}) {
            std::erase_if(*text, [](char c) { return c == '\r' || c == ' ' || c == '\t'; });
        }
    }
    fuzz::expect_equal(back, want, "a body comes back");
}

}  // namespace

FUZZ_TARGET(encode) {
    constexpr std::array kEncodings{"QUOTED-PRINTABLE", "BASE64", "7BIT", "8BIT"};
    constexpr std::array<const char *, 4> kGuards{nullptr, "", "--b", "."};
    Job job{kEncodings[in.below(kEncodings.size())],
            "",
            kGuards[in.below(kGuards.size())],
            in.flag(),
            in.flag(),
            0,
            in.flag(),
            in.flag() != 0};
    const std::size_t repeats = in.below(4) == 3 ? 2 * in.below(64) : 0;  // for bodies past the blocks
    const std::string text = job.is_text ? in.text() : in.rest();
    for (std::size_t i = 0; i <= repeats; ++i) {
        job.in += text;
    }
    const std::string got = encoded(job);
    fuzz::expect_equal(got, encoded_slowly(job), "a body is encoded as byte by byte");
    if (job.fold != 0 && !job.is_text && (job.encoding == "BASE64" || job.encoding == "QUOTED-PRINTABLE")) {
        check_way_back(job, got);
        const int to = fuzz::kept_file(1, {});
        mim_EncodeMimeFile(fuzz::kept_file(0, job.in), to, job.encoding.c_str(), job.guard, job.crlf);
        fuzz::expect(got.starts_with(content_of(to) + " "), "a file is encoded in the same way", got);
    }
}
